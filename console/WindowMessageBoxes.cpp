#include "console/WindowMessageBoxes.h"

#include <QApplication>
#include <QGridLayout>
#include <QMessageBox>
#include <QPushButton>
#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

QString title()
{
    return u"系统提示"_s;
}

/// A short text would leave too little room for the title.
void makeWide(QMessageBox &box)
{
    constexpr int width = 260;
    if (auto *grid = qobject_cast<QGridLayout *>(box.layout()))
        grid->addItem(new QSpacerItem(width, 0), grid->rowCount(), 0, 1, grid->columnCount());
}

/// A box is answered: there is nothing to minimise or to maximise.
void keepPlain(QMessageBox &box)
{
    box.setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                       Qt::WindowCloseButtonHint);
    box.setTextFormat(Qt::PlainText);
}

void name(QMessageBox &box, QMessageBox::StandardButton which, const QString &caption)
{
    box.button(which)->setText(caption);
    box.button(which)->setIcon({});
}

/// The window that a box belongs to: over a modal dialog it has to be that one.
QWidget *windowInFront()
{
    for (QWidget *front : {QApplication::activeModalWidget(), QApplication::activeWindow()}) {
        if (front != nullptr)
            return front;
    }
    // Between two dialogs none has the focus.
    const QWidgetList windows = QApplication::topLevelWidgets();
    const auto visible = std::find_if(windows.cbegin(), windows.cend(), [](const QWidget *window) {
        return window->isVisible() && window->windowType() == Qt::Window;
    });
    return visible == windows.cend() ? nullptr : *visible;
}

} // namespace

void WindowMessageBoxes::inform(const QString &text)
{
    QMessageBox box(QMessageBox::Information, title(), text, QMessageBox::Ok, windowInFront());
    keepPlain(box);
    makeWide(box);
    name(box, QMessageBox::Ok, u"确定"_s);
    box.exec();
}

bool WindowMessageBoxes::confirm(const QString &text)
{
    QMessageBox box(QMessageBox::Question, title(), text, QMessageBox::Ok | QMessageBox::Cancel,
                    windowInFront());
    keepPlain(box);
    makeWide(box);
    name(box, QMessageBox::Ok, u"确定"_s);
    name(box, QMessageBox::Cancel, u"取消"_s);
    box.setDefaultButton(QMessageBox::Cancel);
    return box.exec() == QMessageBox::Ok;
}
