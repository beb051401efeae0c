#pragma once

#include "service/ServiceConsole.h"
#include "service/ServiceStart.h"

#include <QTimer>
#include <functional>

/// Presses Start in place of an operator who is not there: while the database or the modem is absent it tries
/// again at each scan interval, says once that it does, and says when it has succeeded. A missing setting
/// ends the trying, and so does the operator's own Start.
class UnattendedStart final : public QObject
{
    Q_OBJECT
public:
    /// console: the one that the attempts speak to. attempt: one Start; nothing when a fault ended it. interval:
    /// until the next one.
    UnattendedStart(ServiceConsole &console, std::function<std::optional<ServiceStart::Outcome>()> attempt,
                    std::function<std::chrono::milliseconds()> interval, QObject *parent);

    void begin();
    void end();

signals:
    /// A setting is missing: nothing to wait for.
    void givenUp();

private:
    void tryOnce();

    ServiceConsole &m_console;
    std::function<std::optional<ServiceStart::Outcome>()> m_attempt;
    std::function<std::chrono::milliseconds()> m_interval;
    QTimer m_again{this};
    bool m_isTrying = false;
    bool m_hasSaid = false;
};
