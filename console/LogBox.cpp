#include "console/LogBox.h"

#include "console/WindowMessageBoxes.h"
#include "platform/files/Files.h"

#include <QContextMenuEvent>
#include <QDir>
#include <QFileDialog>
#include <QInputDialog>
#include <QMenu>
#include <QPushButton>
#include <QResizeEvent>
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

FileError LogBox::saveAs(const QString &fileName) const
{
    return replaceSynced(fileName, toPlainText().toUtf8());
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
    const QString fileName =
        QFileDialog::getSaveFileName(window(), u"另存为"_s, QDir::home().filePath(u"sms-server.log"_s));
    if (fileName.isEmpty())
        return;
    if (const FileError error = saveAs(fileName); error.isError())
        WindowMessageBoxes().inform(u"无法写入文件 %1：%2"_s.arg(fileName, error.text()));
}

void LogBox::askAndFind()
{
    QInputDialog dialog(window(), Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                                      Qt::WindowCloseButtonHint);
    dialog.setWindowTitle(u"查找"_s);
    dialog.setLabelText(u"查找内容："_s);
    dialog.setTextValue(m_sought);
    dialog.setOkButtonText(u"确定"_s);
    dialog.setCancelButtonText(u"取消"_s);
    for (QPushButton *button : dialog.findChildren<QPushButton *>())
        button->setIcon({}); // as in our own boxes
    const bool isWanted = dialog.exec() == QDialog::Accepted;
    const QString text = dialog.textValue();
    if (isWanted && !findNext(text))
        WindowMessageBoxes().inform(u"没有找到“%1”"_s.arg(text));
}

void LogBox::resizeEvent(QResizeEvent *event)
{
    // No line is wrapped, so no width changes any; told of another one,
    // the text edit would lay out all of them.
    const QSize size = event->size();
    QResizeEvent sameWidth(size, {size.width(), event->oldSize().height()});
    QPlainTextEdit::resizeEvent(&sameWidth);
}
