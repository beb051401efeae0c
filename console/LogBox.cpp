#include "console/LogBox.h"

#include <QContextMenuEvent>
#include <QFileDialog>
#include <QInputDialog>
#include <QMenu>
#include <QMessageBox>
#include <QResizeEvent>
#include <QSaveFile>
#include <QScrollBar>

using namespace Qt::StringLiterals;

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

bool LogBox::saveAs(const QString &fileName) const
{
    QSaveFile file(fileName);
    return file.open(QIODevice::WriteOnly) && file.write(toPlainText().toUtf8()) >= 0 && file.commit();
}

bool LogBox::findNext(const QString &text)
{
    m_sought = text;
    if (text.isEmpty() || find(text))
        return !text.isEmpty();
    const QTextCursor before = textCursor();
    moveCursor(QTextCursor::Start);
    if (find(text))
        return true;
    setTextCursor(before);
    return false;
}

void LogBox::contextMenuEvent(QContextMenuEvent *event)
{
    const std::unique_ptr<QMenu> menu(createStandardContextMenu(event->pos()));
    menu->addSeparator();
    menu->addAction(u"查找"_s, this, &LogBox::askAndFind);
    menu->addAction(u"另存为..."_s, this, &LogBox::askAndSave);
    menu->exec(event->globalPos());
}

void LogBox::askAndSave()
{
    const QString fileName = QFileDialog::getSaveFileName(window(), u"另存为"_s, u"sms-server.log"_s);
    if (!fileName.isEmpty() && !saveAs(fileName))
        QMessageBox::warning(window(), u"系统提示"_s, u"无法写入文件 %1"_s.arg(fileName));
}

void LogBox::askAndFind()
{
    bool isWanted = false;
    const QString text =
        QInputDialog::getText(window(), u"查找"_s, u"查找内容："_s, QLineEdit::Normal, m_sought, &isWanted);
    if (isWanted && !findNext(text))
        QMessageBox::information(window(), u"系统提示"_s, u"没有找到“%1”"_s.arg(text));
}

void LogBox::resizeEvent(QResizeEvent *event)
{
    // No line is wrapped, so no width changes any; told of another one,
    // the text edit would lay out all of them.
    const QSize size = event->size();
    QResizeEvent sameWidth(size, {size.width(), event->oldSize().height()});
    QPlainTextEdit::resizeEvent(&sameWidth);
}
