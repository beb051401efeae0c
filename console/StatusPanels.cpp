#include "console/StatusPanels.h"

#include "console/Twips.h"

#include <QHelpEvent>
#include <QLabel>
#include <QRegularExpression>
#include <QToolTip>
#include <array>

using namespace Qt::StringLiterals;

namespace
{

struct PanelDesign {
    const char16_t *text;
    int twips;
    const char16_t *description = u"";
};

constexpr std::array<PanelDesign, StatusPanels::panelCount> design{{
    {u"状态", 500},
    {u"", 1800, u"服务状态"},
    {u"待发", 500},
    {u"", 800, u"待发短信数"},
    {u"成功", 500},
    {u"", 800, u"发送成功短信数"},
    {u"失败", 500},
    {u"", 800, u"发送失败短信数"},
    {u"时间", 500},
    {u"", 1700, u"当前时间"},
    {u"", 1440},
}};

constexpr int smallestLetters = 8; // pixels

} // namespace

StatusPanels::StatusPanels(QWidget *parent) : QStatusBar(parent)
{
    setObjectName(u"StatusBar"_s);
    setSizeGripEnabled(false);
    for (int panel = 1; panel <= panelCount; ++panel) {
        auto *label = new QLabel(QString::fromUtf16(design[size_t(panel - 1)].text), this);
        label->setObjectName(u"StatusBarPanel%1"_s.arg(panel));
        label->setAccessibleDescription(QString::fromUtf16(design[size_t(panel - 1)].description));
        label->setTextFormat(Qt::PlainText);
        label->setFrameStyle(QFrame::Panel | QFrame::Sunken);
        label->setIndent(1);
        m_labels += label;
        setPanelWidth(panel, pixelsFromTwips(design[size_t(panel - 1)].twips));
    }
    placePanels();
}

QLabel *StatusPanels::label(int panel) const
{
    Q_ASSERT(panel >= 1 && panel <= panelCount);
    return m_labels[panel - 1];
}

void StatusPanels::setText(int panel, const QString &text)
{
    if (label(panel)->text() == text)
        return;
    label(panel)->setText(text);
    fitFont(*label(panel));
    label(panel)->repaint();
}

bool StatusPanels::event(QEvent *event)
{
    if (event->type() != QEvent::ToolTip || !m_status)
        return QStatusBar::event(event);
    constexpr int width = 560; // of a screen that is small; a fault's words are wrapped
    const QString text = m_status().trimmed().toHtmlEscaped().replace(u'\n', u"<br>"_s);
    QToolTip::showText(static_cast<QHelpEvent *>(event)->globalPos(),
                       u"<table width=%1><tr><td>%2</td></tr></table>"_s.arg(width).arg(text), this);
    return true;
}

void StatusPanels::changeEvent(QEvent *event)
{
    QStatusBar::changeEvent(event);
    if (event->type() != QEvent::FontChange)
        return;
    for (QLabel *each : std::as_const(m_labels))
        fitFont(*each);
    placePanels();
}

void StatusPanels::fitFont(QLabel &panel) const
{
    // The widths are designed, the desktop's font is not: a text that is too wide gets smaller letters. Every
    // digit is measured as the widest one, so that the clock does not change its letters at each tick.
    static const QRegularExpression digit(u"[0-9]"_s);
    const QString measured = panel.text().replace(digit, u"0"_s);
    const int room = panel.minimumWidth() - 2 * panel.frameWidth() - 2 * panel.indent();
    QFont letters = font();
    for (int size = QFontInfo(letters).pixelSize();
         size > smallestLetters && QFontMetrics(letters).horizontalAdvance(measured) > room; --size)
        letters.setPixelSize(size - 1);
    if (panel.font() != letters)
        panel.setFont(letters);
}

void StatusPanels::setPanelWidth(int panel, int width)
{
    label(panel)->setFixedWidth(width);
    placePanels();
}

void StatusPanels::placePanels()
{
    // By hand and not by the bar's own layout: the last panel is as wide as the window and runs out of it.
    constexpr int gap = 2;
    const int height = fontMetrics().height() + 6;
    setFixedHeight(height + 2 * gap);
    int left = 0;
    for (QLabel *each : std::as_const(m_labels)) {
        each->setGeometry(left, gap, each->minimumWidth(), height);
        left += each->minimumWidth();
    }
}
