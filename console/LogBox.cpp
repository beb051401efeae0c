#include "console/LogBox.h"

#include <QResizeEvent>
#include <QScrollBar>

LogBox::LogBox(QWidget *parent) : QPlainTextEdit(parent)
{
    setReadOnly(true);
    setUndoRedoEnabled(false); // its history would hold every line twice
    setLineWrapMode(QPlainTextEdit::NoWrap);
    setTabChangesFocus(true);
}

void LogBox::prependLine(const QString &line)
{
    QScrollBar *scroll = verticalScrollBar();
    const int position = scroll->value();
    const int before = document()->blockCount();
    QTextCursor cursor(document());
    // Outside an edit block the cursor would measure its new place, and the glyphs of every line would stay
    // in memory: 2.6 kB a line instead of 0.4.
    cursor.beginEditBlock();
    cursor.insertText(line + u'\n');
    cursor.endEditBlock();
    if (position > 0)
        scroll->setValue(position + document()->blockCount() - before);
    viewport()->repaint();
}

void LogBox::resizeEvent(QResizeEvent *event)
{
    // No line is wrapped, so no width changes any; told of another one, the text edit would lay out all of
    // them.
    const QSize size = event->size();
    QResizeEvent sameWidth(size, {size.width(), event->oldSize().height()});
    QPlainTextEdit::resizeEvent(&sameWidth);
}
