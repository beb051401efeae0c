#include "console/WindowMessageBoxes.h"

#include <QApplication>
#include <QGridLayout>
#include <QMessageBox>
#include <QPushButton>
#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

/// The window that a box belongs to: over a modal dialog it has to be that one.
QWidget *windowInFront()
{
    if (QWidget *dialog = QApplication::activeModalWidget())
        return dialog;
    const QWidgetList windows = QApplication::topLevelWidgets();
    const auto visible = std::find_if(windows.cbegin(), windows.cend(), [](const QWidget *window) {
        return window->isVisible() && window->windowType() == Qt::Window;
    });
    return visible == windows.cend() ? nullptr : *visible;
}

/// True for OK. With Cancel beside it that is the default.
bool ask(QMessageBox::Icon icon, const QString &text, QMessageBox::StandardButtons buttons)
{
    constexpr int width = 260; // a short text would leave too little room for the title
    QMessageBox box(icon, u"系统提示"_s, text, buttons, windowInFront());
    // A box is answered: there is nothing to minimise or to maximise.
    box.setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                       Qt::WindowCloseButtonHint);
    box.setTextFormat(Qt::PlainText);
    if (auto *grid = qobject_cast<QGridLayout *>(box.layout()))
        grid->addItem(new QSpacerItem(width, 0), grid->rowCount(), 0, 1, grid->columnCount());
    for (QAbstractButton *button : box.buttons()) {
        button->setText(box.standardButton(button) == QMessageBox::Ok ? u"确定"_s : u"取消"_s);
        button->setIcon({});
    }
    box.setDefaultButton(QMessageBox::Cancel); // if there is one
    return box.exec() == QMessageBox::Ok;
}

} // namespace

void WindowMessageBoxes::inform(const QString &text)
{
    ask(QMessageBox::Information, text, QMessageBox::Ok);
}

bool WindowMessageBoxes::confirm(const QString &text)
{
    return ask(QMessageBox::Question, text, QMessageBox::Ok | QMessageBox::Cancel);
}
