#pragma once

#include "service/ServiceStart.h"
#include "service/StartLog.h"

#include <QTimer>
#include <functional>

/// Presses Start in place of an operator who is not there: while the database or the modem is absent it tries
/// again at each scan interval, says once that it does, and says when it has succeeded. A missing setting
/// ends the trying, and so does the operator's own Start.
class UnattendedStart final : public QObject
{
    Q_OBJECT
public:
    /// attempt: one Start; nothing when a fault ended it. interval: milliseconds until the next one.
    /// log: the console that the attempts speak to.
    UnattendedStart(StartLog &log, std::function<std::optional<ServiceStart::Outcome>()> attempt,
                    std::function<int()> interval, QObject *parent);

    void begin();
    void end();

signals:
    /// A setting is missing: nothing to wait for.
    void givenUp();

private:
    void tryOnce();

    StartLog &m_log;
    std::function<std::optional<ServiceStart::Outcome>()> m_attempt;
    std::function<int()> m_interval;
    QTimer m_again{this};
    bool m_isTrying = false;
    bool m_hasSaid = false;
};
