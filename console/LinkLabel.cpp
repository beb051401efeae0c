#include "console/LinkLabel.h"

#include <QKeyEvent>
#include <QMouseEvent>

LinkLabel::LinkLabel(const QString &address, QWidget *parent) : QLabel(address, parent)
{
    setTextFormat(Qt::PlainText);
    setMouseTracking(true);
    setFocusPolicy(Qt::TabFocus);
    setCursor(Qt::PointingHandCursor);
    setHovered(false);
    standOut();
}

void LinkLabel::setHovered(bool hovered)
{
    QPalette colours = palette();
    colours.setColor(QPalette::WindowText, hovered ? Qt::red : Qt::blue);
    setPalette(colours);
    QFont underlined = font();
    underlined.setUnderline(hovered);
    setFont(underlined);
}

void LinkLabel::standOut()
{
    // Its two colours are fixed, and neither can be read on a dark ground.
    constexpr int dark = 128;
    const bool isOnDark =
        parentWidget() != nullptr && parentWidget()->palette().color(QPalette::Window).lightness() < dark;
    if (isOnDark == autoFillBackground())
        return;
    QPalette colours = palette();
    colours.setColor(QPalette::Window,
                     isOnDark ? QColor(Qt::white) : parentWidget()->palette().color(QPalette::Window));
    setPalette(colours);
    setAutoFillBackground(isOnDark);
}

void LinkLabel::changeEvent(QEvent *event)
{
    QLabel::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        standOut();
}

void LinkLabel::open()
{
    setHovered(false);
    emit clicked(text());
}

void LinkLabel::mouseMoveEvent(QMouseEvent *event)
{
    // With a button held down the moves go on outside the label.
    setHovered(rect().contains(event->position().toPoint()));
}

void LinkLabel::mousePressEvent(QMouseEvent *event)
{
    m_isPressed = event->button() == Qt::LeftButton;
}

void LinkLabel::mouseReleaseEvent(QMouseEvent *event)
{
    // Only a press that began on the label is a click on it.
    if (std::exchange(m_isPressed, false) && event->button() == Qt::LeftButton &&
        rect().contains(event->position().toPoint()))
        open();
}

void LinkLabel::leaveEvent(QEvent *)
{
    setHovered(false);
}

void LinkLabel::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter || event->key() == Qt::Key_Space)
        open();
    else
        QLabel::keyPressEvent(event);
}

void LinkLabel::focusInEvent(QFocusEvent *event)
{
    setHovered(true); // the keyboard's way of pointing at it
    QLabel::focusInEvent(event);
}

void LinkLabel::focusOutEvent(QFocusEvent *event)
{
    setHovered(false);
    QLabel::focusOutEvent(event);
}
