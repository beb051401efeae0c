#include "console/StatusPanels.h"

#include "console/Twips.h"

#include <QHBoxLayout>
#include <QLabel>
#include <array>

using namespace Qt::StringLiterals;

namespace
{

struct PanelDesign {
    const char16_t *text;
    int twips;
};

constexpr std::array<PanelDesign, StatusPanels::panelCount> design{{
    {u"状态", 500},
    {u"", 1800},
    {u"待发", 500},
    {u"", 800},
    {u"成功", 500},
    {u"", 800},
    {u"失败", 500},
    {u"", 800},
    {u"时间", 500},
    {u"", 1700},
    {u"", 1440},
}};

} // namespace

StatusPanels::StatusPanels(QWidget *parent) : QStatusBar(parent)
{
    setObjectName(u"StatusBar"_s);
    setSizeGripEnabled(false);
    // The panels stand on a strip of their own that may be wider than the bar: the last panel is as wide as
    // the window and simply runs out of it.
    auto *strip = new QWidget(this);
    strip->setMinimumWidth(1);
    for (int panel = 1; panel <= panelCount; ++panel) {
        auto *label = new QLabel(QString::fromUtf16(design[size_t(panel - 1)].text), strip);
        label->setObjectName(u"StatusBarPanel%1"_s.arg(panel));
        label->setFrameStyle(QFrame::Panel | QFrame::Sunken);
        label->setIndent(2);
        m_labels += label;
        setPanelWidth(panel, pixelsFromTwips(design[size_t(panel - 1)].twips));
    }
    addWidget(strip, 1);
    const int height = fontMetrics().height() + 6;
    strip->setFixedHeight(height);
    setFixedHeight(height + 2);
}

QLabel *StatusPanels::label(int panel) const
{
    Q_ASSERT(panel >= 1 && panel <= panelCount);
    return m_labels[panel - 1];
}

QString StatusPanels::text(int panel) const
{
    return label(panel)->text();
}

void StatusPanels::setText(int panel, const QString &text)
{
    if (label(panel)->text() == text)
        return;
    label(panel)->setText(text);
    label(panel)->repaint();
}

void StatusPanels::setPanelWidth(int panel, int width)
{
    label(panel)->setFixedWidth(width);
    int left = 0;
    for (QLabel *each : std::as_const(m_labels)) {
        each->setGeometry(left, 0, each->minimumWidth(), fontMetrics().height() + 6);
        left += each->minimumWidth();
    }
}
