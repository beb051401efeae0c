#pragma once

#include "mailbox/Collector.h"
#include "modem/ModemStatus.h"
#include "outgoing/SendLimits.h"

#include <QDateTime>
#include <array>

/// How the service is: --status, the window's tooltip and the figures for monitoring are told from it. What is not known
/// is nothing.
struct ServiceState {
    /// The five passes; what came in is stored between them.
    enum class Pass { Send, Archive, Expand, Alert, Collect, Receive };
    static constexpr int passCount = 6;

    struct PassState {
        QDateTime lastEnd;
        std::chrono::milliseconds length{0};
        QDateTime lastSuccess; ///< whole: nothing of it failed
        qint64 faults = 0;     ///< since the program's start, of whatever it had to do
        QDateTime lastFault;
        QString cause; ///< of the last fault
        /// Nothing of it has succeeded as a whole since its last fault.
        [[nodiscard]] bool isHeld() const
        {
            return lastFault.isValid() && (!lastSuccess.isValid() || lastSuccess < lastFault);
        }
    };
    struct Queue {
        qint64 waiting = 0;    ///< rows of SMS_Queues
        qint64 oldest = 0;     ///< its OAID
        QDateTime oldestSince; ///< it has been seen to wait
    };

    QDateTime since; ///< the program's start
    bool isRunning = false;
    std::array<PassState, passCount> passes;
    std::optional<bool> isDatabaseUp; ///< nothing before the first try
    QString databaseFailure;
    std::optional<Queue> queue; ///< nothing while the database is away
    OldMailbox oldestMailbox;
    std::optional<SendLimits::Rest> rest;
    std::optional<ModemStatus> modem; ///< nothing while its port is closed
    QString modemFailure;             ///< why it is closed
    std::optional<qint64> diskFree;   ///< octets, where the least is left for the server's own files
};

/// The operator's word for a pass, which the names of its tasks begin with.
[[nodiscard]] QString passName(ServiceState::Pass pass);

/// The state in words, a fact a line. now: of the same clock.
[[nodiscard]] QString stateText(const ServiceState &state, const QDateTime &now);
