#pragma once

#include "alerts/NewMailAlerts.h"
#include "foundation/PassLock.h"
#include "foundation/ServiceSettings.h"
#include "foundation/TaskGuard.h"
#include "incoming/InboundMessageHandler.h"
#include "mailbox/Collector.h"
#include "modem/ModemControl.h"
#include "outgoing/QueueSender.h"
#include "outgoing/ResultArchiver.h"
#include "outgoing/ScheduledMessageExpander.h"
#include "outgoing/SendLimits.h"
#include "service/ServerParts.h"
#include "service/ServiceState.h"

#include <QElapsedTimer>
#include <QMap>
#include <QTimer>

/// The service at work: the five passes as the work timers call them, each inside the guard under its task's
/// name, and the receiving, which begins with this object. None of them throws.
class ServicePasses
{
public:
    ServicePasses(const ServerParts &parts, OperatorConsole &console);
    ~ServicePasses();
    ServicePasses(const ServicePasses &) = delete;
    ServicePasses &operator=(const ServicePasses &) = delete;

    /// From now on; a Start has read them.
    void setSettings(const ServiceSettings &settings);

    /// A Start succeeded, and nothing has come from it yet.
    void begin();
    /// TSend: the queue to the modem, row by row from the event loop; a tick meanwhile begins no other pass. Before it, as at the begin,
    /// received messages that the database had refused.
    void send();
    /// The send pass of a tick is still at it, or waits for the end of a SendGap.
    [[nodiscard]] bool isSending() const { return m_nextTurn.isActive(); }
    /// TSendResultDetail: finished rows to the archive.
    void archive();
    /// tSchedule: due messages to the queue.
    void expand();
    /// TNewMail: new mail to alerts.
    void alert();
    /// tReceivePopMail: external mail to the OA tables.
    void collect();
    /// The collector of a tick is still at it.
    [[nodiscard]] bool isCollecting() const { return m_collector.isCollecting(); }

    /// Ends what goes on between the ticks. Takes two seconds at most.
    void stop();

    /// How all this is, but for what the service alone knows. The database is asked for the queue.
    [[nodiscard]] ServiceState state();

    /// For what else has to end in the guard.
    [[nodiscard]] TaskGuard &guard() { return m_guard; }

private:
    /// lockName: of a pass that one server of several does at a time.
    void run(ServiceState::Pass pass, const QString &lockName, const std::function<void()> &work);
    void noteEnd(ServiceState::Pass pass, const QElapsedTimer &length);
    void storeSpooled();
    void sendOn();
    /// Whether this server may work beside those that are there, or alone; told when it may not.
    [[nodiscard]] bool hasPlace();
    /// While a message waits for its result the database session keeps its locks.
    void keepSession() noexcept;
    void openInHand();
    /// A task of a pass, or something in it, has ended.
    void noteTask(const QString &task, const std::optional<QString> &cause);
    [[nodiscard]] std::optional<ServiceState::Queue> askQueue();

    const ServerParts m_parts;
    ServiceSettings m_settings;
    std::array<ServiceState::PassState, ServiceState::passCount> m_states;
    std::array<bool, ServiceState::passCount> m_isStruck{}; // something failed since the pass began
    std::optional<ServiceState::Pass> m_pass;               // the one that runs
    QMap<qint64, QDateTime> m_newestAt; // when which row of the queue was the newest that waits
    std::chrono::milliseconds m_queueAskedAt{-std::chrono::hours(1)}; // on the steady clock
    FaultLog m_faults;
    TaskGuard m_guard;
    SendLimits m_limits;
    InHand m_inHand;
    QueueSender m_sender;
    ResultArchiver m_archiver;
    ScheduledMessageExpander m_expander;
    NewMailAlerts m_alerts;
    Collector m_collector;
    InboundMessageHandler m_inbound;
    bool m_isModemAsked = false;   // since its port was opened
    QElapsedTimer m_sinceSendPass; // began
    QTimer m_nextTurn;             // of the send pass: at once, or when SendGap is over
    QTimer m_signsOfLife;          // of the session, where the ticks are far apart
};
