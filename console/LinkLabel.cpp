#include "console/LinkLabel.h"

#include <QMouseEvent>

using namespace Qt::StringLiterals;

LinkLabel::LinkLabel(const QString &address, QWidget *parent) : QPushButton(parent)
{
    setText(QString(address).replace(u'&', u"&&"_s)); // a single one would underline a letter
    setMouseTracking(true);
    setFocusPolicy(Qt::TabFocus);
    setAutoDefault(true); // Enter presses it
    setCursor(Qt::PointingHandCursor);
    setLit(false);
    connect(this, &QPushButton::clicked, this, [this, address] {
        setLit(false);
        emit chosen(address);
    });
}

void LinkLabel::setLit(bool isLit)
{
    m_isLit = isLit;
    // Its two colours are fixed, and neither can be read on a dark ground.
    constexpr int dark = 128;
    const bool isOnDark = parentWidget()->palette().color(QPalette::Window).lightness() < dark;
    const QString look =
        u"border: none; text-align: left; background: %1; color: %2; text-decoration: %3"_s.arg(
            isOnDark ? u"white"_s : u"none"_s, isLit ? u"red"_s : u"blue"_s,
            isLit ? u"underline"_s : u"none"_s);
    if (look != styleSheet())
        setStyleSheet(look);
}

bool LinkLabel::event(QEvent *event)
{
    const bool isDone = QPushButton::event(event);
    if (event->type() == QEvent::MouseMove) // with a button held down the moves go on outside
        setLit(rect().contains(static_cast<QMouseEvent *>(event)->position().toPoint()));
    else if (event->type() == QEvent::FocusIn) // the keyboard's way of pointing at it
        setLit(true);
    else if (event->type() == QEvent::FocusOut || event->type() == QEvent::Leave)
        setLit(false);
    else if (event->type() == QEvent::PaletteChange)
        setLit(m_isLit);
    return isDone;
}
