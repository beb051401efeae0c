#pragma once

#include "foundation/OperatorConsole.h"
#include "service/Metrics.h"

#include <QStringList>

/// The operator's console as the service speaks to it: what happened is counted for monitoring too, and during
/// repeated attempts to start a line that the attempt before said is not said again.
class ServiceConsole final : public OperatorConsole
{
public:
    ServiceConsole(OperatorConsole &console, Metrics &metrics) : m_console(console), m_metrics(metrics) {}

    void beginAttempt()
    {
        m_before = std::exchange(m_now, {});
        m_isTrying = true;
    }
    void endAttempt() { m_isTrying = false; }
    /// The next attempt says everything again.
    void forget() { m_now.clear(); }

    void addLogLine(const QString &message) override
    {
        if (m_isTrying)
            m_now += message;
        if (!m_isTrying || !m_before.contains(message))
            m_console.addLogLine(message);
    }
    [[nodiscard]] QString panelText(Panel panel) const override { return m_console.panelText(panel); }
    void setPanelText(Panel panel, const QString &text) override { m_console.setPanelText(panel, text); }
    void showActivity(const QString &activity) override { m_console.showActivity(activity); }
    void count(Event event, const QString &cause) override
    {
        m_metrics.count(event, cause);
        m_console.count(event, cause);
    }
    [[nodiscard]] bool stopRequested() const override { return m_console.stopRequested(); }

private:
    OperatorConsole &m_console;
    Metrics &m_metrics;
    QStringList m_before;
    QStringList m_now;
    bool m_isTrying = false;
};
