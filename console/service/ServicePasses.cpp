#include "console/service/ServicePasses.h"

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

ServicePasses::ServicePasses(const ServerParts &parts, OperatorConsole &console)
    : m_parts(parts),
      m_metrics(parts.metricsFile),
      m_faults(console),
      m_guard(parts.session, console, m_faults),
      m_sender(parts.session, console, m_faults, parts.modem),
      m_archiver(parts.session, console, m_faults, parts.clock),
      m_expander(parts.session, console, m_faults, parts.clock),
      m_alerts(parts.session, console, m_faults),
      m_pop3PollingDriver(parts.session, parts.registry, parts.mailTrace, m_watch, m_kept),
      m_inbound(parts.session, console, m_faults, m_guard, parts.modem, parts.spoolFile),
      m_receiving(QObject::connect(&parts.modem, &ModemControl::messageArrived, &parts.modem,
                                   [this] { m_inbound.messageArrived(); }))
{
    if (!parts.mailCollector.path.isEmpty())
        m_mailCollector.emplace(parts.mailCollector, parts.session, console, m_faults, m_guard);
}

ServicePasses::~ServicePasses()
{
    QObject::disconnect(m_receiving);
}

void ServicePasses::run(Metrics::Pass pass, const QString &task, const std::function<void()> &work)
{
    QElapsedTimer length;
    length.start();
    m_guard.runPass(task, work);
    m_metrics.passEnded(pass, m_parts.clock.now(), length.elapsed());
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
        state.isRegistered = m_parts.modem.isRegistered();
        if (state.isDatabaseUp)
            state.waitingRows = waitingRows(m_parts.session.Conn());
        m_metrics.write(state);
    });
}

void ServicePasses::send()
{
    m_guard.runPass(u"暂存短信处理"_s, [this] { m_inbound.retrySpooled(); });
    run(Metrics::Pass::Send, u"短信发送"_s, [this] { m_sender.pass(); });
}

void ServicePasses::archive()
{
    run(Metrics::Pass::Archive, u"发送结果归档"_s, [this] { m_archiver.pass(); });
}

void ServicePasses::expand()
{
    run(Metrics::Pass::Expand, u"定时短信处理"_s, [this] { m_expander.pass(); });
}

void ServicePasses::alert()
{
    run(Metrics::Pass::Alert, u"新邮件提醒"_s, [this] { m_alerts.pass(); });
}

void ServicePasses::collect()
{
    run(Metrics::Pass::Collect, u"外部邮件收取"_s, [this] {
        if (m_mailCollector)
            m_mailCollector->pass();
        else
            m_pop3PollingDriver.pass();
    });
}

void ServicePasses::stop()
{
    if (m_mailCollector)
        m_mailCollector->stop();
}
