#pragma once

#include "foundation/OperatorConsole.h"

#include <QMap>
#include <QObject>
#include <functional>

class Clock;

/// The operator's console as signals: the window, the log file and whoever else shows the service listen. What
/// they do is done when the call returns, so that it is visible in the middle of a pass.
class ConsoleSignals final : public QObject, public OperatorConsole
{
    Q_OBJECT
public:
    /// clock: of the log's timestamps; outlives the console.
    explicit ConsoleSignals(const Clock &clock) : m_clock(clock) {}

    void addLogLine(const QString &message) override;
    [[nodiscard]] QString panelText(Panel panel) const override { return m_panels.value(panel); }
    void setPanelText(Panel panel, const QString &text) override;
    void showActivity(const QString &activity) override { emit activityChanged(activity); }
    [[nodiscard]] bool stopRequested() const override { return m_stopRequested && m_stopRequested(); }

    /// Asked between the rows of a pass: has the program been told to end?
    void setStopRequested(std::function<bool()> stopRequested) { m_stopRequested = std::move(stopRequested); }

signals:
    /// One line as added to the log, without its line end.
    void lineAdded(const QString &line);
    void panelChanged(OperatorConsole::Panel panel, const QString &text);
    /// What a long pass is doing; empty when it is over.
    void activityChanged(const QString &activity);

private:
    const Clock &m_clock;
    std::function<bool()> m_stopRequested;
    QMap<Panel, QString> m_panels;
};
