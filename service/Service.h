#pragma once

#include "service/Metrics.h"
#include "service/ServiceConsole.h"
#include "service/ServicePasses.h"
#include "service/ServiceStart.h"

#include <array>

/// The service: starts and stops, and while it runs its five work timers call the passes. What it has to tell or
/// to ask goes to the operator's console and message boxes; whoever shows it follows its signals. The receiving
/// begins with this object. None of its operations throws.
///
/// Destroyed while it runs it leaves things as a kill would: nothing is written, and the modem's port stays open.
class Service final : public QObject
{
    Q_OBJECT
public:
    enum class State { Stopped, Running };

    /// The parts, the console and the boxes outlive it. An event loop that answers timers is all it needs.
    Service(const ServerParts &parts, OperatorConsole &console, MessageBoxes &boxes);

    [[nodiscard]] bool isRunning() const { return m_state == State::Running; }
    /// True once stop() was called: nothing runs any more, and it is not started again.
    [[nodiscard]] bool hasEnded() const { return m_hasEnded; }

    /// The Start path, once. Ends the trying of an unattended start.
    void start();
    /// Start in place of an operator who is not there: while the database or the modem is absent it is tried again
    /// at each scan interval, which is said once, and said when it has succeeded. A missing setting ends the
    /// trying, and so does start().
    void startUnattended();
    /// The Stop path with its question; without a yes nothing changes.
    void askAndStop();
    /// The Stop path without its question: the modem's port is released, the program is to end.
    void stop();

    /// How it is, now. The database is asked.
    [[nodiscard]] ServiceState fullState();

    /// For what else has to end in the guard.
    [[nodiscard]] TaskGuard &guard() { return m_passes.guard(); }

signals:
    void stateChanged(Service::State state);
    /// An unattended start needs a setting that a person has to give.
    void startGivenUp();
    /// A stop has ended all work; the last status text follows.
    void workEnded();
    /// The program is to end now; no handler runs any more.
    void ended();

private:
    std::optional<ServiceStart::Outcome> tryToStart();
    void tryAgain();
    void endTrying();
    void startTimers();
    void stopWork();
    void setState(State state);
    void writeMetrics();
    /// In the order in which they are enabled and disabled.
    [[nodiscard]] std::array<QTimer *, 5> workTimers()
    {
        return {&TSend, &TSendResultDetail, &tSchedule, &TNewMail, &tReceivePopMail};
    }

    const ServerParts m_parts;
    const QDateTime m_since{m_parts.clock.now()};
    MessageBoxes &m_boxes;
    Metrics m_metrics;
    ServiceConsole m_console;
    ServicePasses m_passes{m_parts, m_console};
    ServiceStart m_start{m_parts, m_console};
    State m_state = State::Stopped;
    bool m_isTrying = false; // to start, unattended
    bool m_hasSaidSo = false;
    bool m_isAsking = false; // the stop question is on the screen
    bool m_hasEnded = false;

    QTimer TSend{this};
    QTimer TSendResultDetail{this};
    QTimer tSchedule{this};
    QTimer TNewMail{this};
    QTimer tReceivePopMail{this};
    QTimer tStartAgain{this};
    QTimer tMetrics{this};
};
