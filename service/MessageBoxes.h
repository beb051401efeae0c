#pragma once

#include "foundation/OperatorConsole.h"

/// The blocking notices to the operator. Title of all: "系统提示".
class MessageBoxes
{
public:
    MessageBoxes() = default;
    virtual ~MessageBoxes() = default;
    MessageBoxes(const MessageBoxes &) = delete;
    MessageBoxes &operator=(const MessageBoxes &) = delete;

    /// Information icon, OK only.
    virtual void inform(const QString &text) = 0;
    /// Question icon, OK and Cancel, Cancel the default. True for OK.
    [[nodiscard]] virtual bool confirm(const QString &text) = 0;
};

/// For running without a display: each box becomes a log line and takes its default answer.
class LoggedMessageBoxes final : public MessageBoxes
{
public:
    explicit LoggedMessageBoxes(OperatorConsole &console) : m_console(console) {}
    void inform(const QString &text) override { m_console.addLogLine(text); }
    bool confirm(const QString &text) override
    {
        m_console.addLogLine(text);
        return false;
    }

private:
    OperatorConsole &m_console;
};
