#pragma once

#include "foundation/OperatorConsole.h"

#include <QStringList>

/// The operator's console during repeated attempts to start: a line that the attempt before said too is not
/// said again. Outside attempts every line passes.
class StartLog final : public OperatorConsole
{
public:
    explicit StartLog(OperatorConsole &console) : m_console(console) {}

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
    [[nodiscard]] bool stopRequested() const override { return m_console.stopRequested(); }

private:
    OperatorConsole &m_console;
    QStringList m_before;
    QStringList m_now;
    bool m_isTrying = false;
};
