#include "console/service/ServicePasses.h"

using namespace Qt::StringLiterals;

ServicePasses::ServicePasses(const ServerParts &parts, OperatorConsole &console)
    : m_faults(console),
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

void ServicePasses::send()
{
    m_guard.runPass(u"暂存短信处理"_s, [this] { m_inbound.retrySpooled(); });
    m_guard.runPass(u"短信发送"_s, [this] { m_sender.pass(); });
}

void ServicePasses::archive()
{
    m_guard.runPass(u"发送结果归档"_s, [this] { m_archiver.pass(); });
}

void ServicePasses::expand()
{
    m_guard.runPass(u"定时短信处理"_s, [this] { m_expander.pass(); });
}

void ServicePasses::alert()
{
    m_guard.runPass(u"新邮件提醒"_s, [this] { m_alerts.pass(); });
}

void ServicePasses::collect()
{
    m_guard.runPass(u"外部邮件收取"_s, [this] {
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
