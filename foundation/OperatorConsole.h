#pragma once

#include <QString>

/// What the operator sees, as the passes use it: the log box and the status bar of the main window.
class OperatorConsole
{
public:
    /// Panels of the status bar that are written to, counted from 1. Each follows its label panel.
    enum Panel { Status = 2, ToSend = 4, Succeeded = 6, Failed = 8, Time = 10, Filler = 11 };

    /// What a monitoring system counts.
    enum class Event { Sent, Failed, Received, Alerted, Collected };

    OperatorConsole() = default;
    virtual ~OperatorConsole() = default;
    OperatorConsole(const OperatorConsole &) = delete;
    OperatorConsole &operator=(const OperatorConsole &) = delete;

    /// Puts one log line, GetFormateTime() + blank + message + CR LF, in front of the log. Visible at once,
    /// also in the middle of a pass.
    virtual void addLogLine(const QString &message) = 0;
    [[nodiscard]] virtual QString panelText(Panel panel) const = 0;
    /// Visible at once, also in the middle of a pass.
    virtual void setPanelText(Panel panel, const QString &text) = 0;
    /// What a long pass is doing, in a few words; empty when it is over. Visible at once.
    virtual void showActivity(const QString &activity) = 0;
    /// Something to be counted has happened. cause: of a failure, one of a limited number of texts.
    virtual void count(Event event, const QString &cause = {})
    {
        Q_UNUSED(event);
        Q_UNUSED(cause);
    }
    /// True once the program has been asked to end. A pass asks between rows and ends early.
    [[nodiscard]] virtual bool stopRequested() const = 0;
};
