#include "console/LogBox.h"

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
    cursor.insertText(line + u'\n');
    if (position > 0)
        scroll->setValue(position + document()->blockCount() - before);
    viewport()->repaint();
}
