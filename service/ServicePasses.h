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
#include "service/Metrics.h"
#include "service/ServerParts.h"

#include <QElapsedTimer>
#include <QTimer>

/// The service at work: the five passes as the work timers call them, each inside the guard under its task's
/// name, and the receiving, which begins with this object. None of them throws.
class ServicePasses
{
public:
    ServicePasses(const ServerParts &parts, OperatorConsole &console, Metrics &metrics);
    ~ServicePasses();
    ServicePasses(const ServicePasses &) = delete;
    ServicePasses &operator=(const ServicePasses &) = delete;

    /// From now on; a Start has read them.
    void setSettings(const ServiceSettings &settings);

    /// A Start succeeded, and nothing has come from it yet.
    void begin();
    /// TSend: the queue to the modem; before it, received messages that the database had refused.
    void send();
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

    /// For what else has to end in the guard.
    [[nodiscard]] TaskGuard &guard() { return m_guard; }

private:
    void run(Metrics::Pass pass, const QString &task, const std::function<void()> &work);
    /// A pass that one server of several does at a time.
    void runLocked(Metrics::Pass pass, const QString &task, const QString &name,
                   const std::function<void()> &work);
    void openInHand();
    void writeMetrics();
    /// Asked of the modem once a minute.
    [[nodiscard]] const ModemControl::Reception &reception();

    const ServerParts m_parts;
    ServiceSettings m_settings;
    Metrics &m_metrics;
    FaultLog m_faults;
    TaskGuard m_guard;
    SendLimits m_limits;
    InHand m_inHand;
    QueueSender m_sender;
    ResultArchiver m_archiver;
    ScheduledMessageExpander m_expander;
    NewMailAlerts m_alerts;
    Collector m_collector;
    ReplyLimit m_replyLimit;
    InboundMessageHandler m_inbound;
    QMetaObject::Connection m_receiving;
    ModemControl::Reception m_reception;
    QElapsedTimer m_sinceReception;
    QTimer m_afterGap; // sends what a pass left when SendGap is over
};
