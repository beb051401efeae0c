#include "service/ServicePasses.h"

#include "database/Recordset.h"

using namespace Qt::StringLiterals;

namespace
{

qint64 waitingRows(Connection &connection)
{
    Recordset rows(connection);
    rows.open(u"select count(*) as Waiting from SMS_Queues where MsgStatus='0'"_s);
    return rows.value("Waiting"_L1).toLongLong();
}

} // namespace

ServicePasses::ServicePasses(const ServerParts &parts, OperatorConsole &console, Metrics &metrics)
    : m_parts(parts),
      m_metrics(metrics),
      m_faults(console),
      m_guard(parts.session, console, m_faults),
      m_limits(parts.clock, console, parts.sendLedgerFile),
      m_inHand(parts.inHandFile),
      m_sender(parts.session, console, m_faults, parts.modem, m_inHand),
      m_archiver(parts.session, console, m_faults, parts.clock),
      m_expander(parts.session, console, m_faults, parts.clock),
      m_alerts(parts.session, console, m_faults),
      m_collector(parts.collector, parts.session, console, m_faults, m_guard),
      m_replyLimit(parts.clock),
      m_inbound(parts.session, console, m_faults, m_guard, parts.modem, parts.messageFiles),
      m_receiving(QObject::connect(&parts.modem, &ModemControl::messageArrived, &parts.modem,
                                   [this] { m_inbound.messageArrived(); }))
{
    m_sender.setLimits(&m_limits);
    openInHand();
    m_inbound.setReplyLimit(&m_replyLimit);
    parts.modem.setRestTest([this](const QString &sender, const QString &time, const QStringList &fragments) {
        return m_inbound.isRest(sender, time, fragments);
    });
    m_afterGap.setSingleShot(true);
    m_afterGap.setTimerType(Qt::PreciseTimer);
    m_afterGap.callOnTimeout([this] { send(); });
}

ServicePasses::~ServicePasses()
{
    QObject::disconnect(m_receiving);
    m_parts.modem.setRestTest({});
    m_parts.modem.setHandOver({});
}

void ServicePasses::openInHand()
{
    m_parts.modem.setHandOver(
        {[this](const HandOver::Part &part) {
             m_limits.count();
             m_inHand.handingOver(part);
         },
         [this](const HandOver::Part &part, bool isAccepted) { m_inHand.handedOver(part, isAccepted); }});
    m_guard.run(u"在途短信记录"_s, [this] { m_inHand.read(); });
    m_parts.modem.expectLateResult(m_inHand.isInDoubt());
}

void ServicePasses::run(Metrics::Pass pass, const QString &task, const std::function<void()> &work)
{
    QElapsedTimer length;
    length.start();
    m_guard.runPass(task, work);
    m_metrics.passEnded(pass, m_parts.clock.now(), std::chrono::milliseconds(length.elapsed()));
    writeMetrics();
}

void ServicePasses::writeMetrics()
{
    if (!m_metrics.isWanted())
        return;
    m_guard.run(u"监控数据"_s, [this] {
        Metrics::State state;
        state.isDatabaseUp = m_parts.session.Conn().isOpen();
        state.isModemUp = m_parts.modem.isPortOpen();
        state.isRegistered = reception().isRegistered;
        state.signalDbm = reception().signalDbm;
        if (state.isDatabaseUp)
            state.waitingRows = waitingRows(m_parts.session.Conn());
        m_metrics.write(state);
    });
}

const ModemControl::Reception &ServicePasses::reception()
{
    constexpr std::chrono::milliseconds pause = std::chrono::minutes(1);
    if (!m_parts.modem.isPortOpen()) {
        m_reception = {};
        m_sinceReception.invalidate(); // asked as soon as it is back
    } else if (!m_sinceReception.isValid() || m_sinceReception.elapsed() >= pause.count()) {
        m_sinceReception.start();
        m_reception = m_parts.modem.askReception();
    }
    return m_reception;
}

void ServicePasses::setSettings(const ServiceSettings &settings)
{
    m_settings = settings;
    m_sender.setShared(settings.areServersSeveral);
    m_limits.set({settings.sendPerHour, settings.sendPerDay, settings.sendGap});
    m_replyLimit.set(settings.repliesPerHour);
    m_collector.setSettings(settings);
}

void ServicePasses::begin()
{
    m_guard.runPass(u"短信发送"_s, [this] { m_sender.settle(); });
}

void ServicePasses::send()
{
    m_guard.runPass(u"暂存短信处理"_s, [this] { m_inbound.retrySpooled(); });
    run(Metrics::Pass::Send, u"短信发送"_s, [this] { m_sender.pass(); });
    if (const auto left = m_limits.gapLeft(); left && m_sender.hasLeftRows())
        m_afterGap.start(*left);
}

void ServicePasses::runLocked(Metrics::Pass pass, const QString &task, const QString &name,
                              const std::function<void()> &work)
{
    run(pass, task, [&] {
        // A session holds one lock at a time, and the sender's may be needed until a status is written.
        if (m_sender.holdsLock())
            return;
        const PassLock lock(m_parts.session.Conn(), m_settings.areServersSeveral, name);
        if (lock.isOurs())
            work();
    });
}

void ServicePasses::archive()
{
    runLocked(Metrics::Pass::Archive, u"发送结果归档"_s, u"archiver"_s, [this] { m_archiver.pass(); });
}

void ServicePasses::expand()
{
    runLocked(Metrics::Pass::Expand, u"定时短信处理"_s, u"expander"_s, [this] { m_expander.pass(); });
}

void ServicePasses::alert()
{
    runLocked(Metrics::Pass::Alert, u"新邮件提醒"_s, u"alerts"_s, [this] { m_alerts.pass(); });
}

void ServicePasses::collect()
{
    run(Metrics::Pass::Collect, u"外部邮件收取"_s,
        [this] { m_collector.pass(); }); // its process takes the lock
}

void ServicePasses::stop()
{
    m_afterGap.stop();
    m_collector.stop();
}
