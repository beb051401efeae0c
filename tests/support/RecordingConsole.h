#pragma once

#include "foundation/OperatorConsole.h"

#include <QMap>
#include <QStringList>
#include <functional>

/// An operator's console without a window: remembers what was shown.
class RecordingConsole final : public OperatorConsole
{
public:
    void addLogLine(const QString &message) override { m_log += message; }
    [[nodiscard]] QString panelText(Panel panel) const override { return m_panels.value(panel); }
    void setPanelText(Panel panel, const QString &text) override { m_panels[panel] = text; }
    void showActivity(const QString &activity) override { activities += activity; }
    [[nodiscard]] bool stopRequested() const override { return stopWhen && stopWhen(); }

    /// The messages logged since the last call, oldest first. A case takes those that it expects; a fixture's
    /// end checks that nothing else was logged.
    [[nodiscard]] QStringList takeLog() { return std::exchange(m_log, {}); }

    std::function<bool()> stopWhen;
    QStringList activities; ///< as shown one after the other

private:
    QStringList m_log;
    QMap<Panel, QString> m_panels;
};
