#include "service/ServiceStart.h"

#include "database/NamedLock.h"
#include "foundation/DatabaseSession.h"
#include "foundation/DatabaseTrial.h"
#include "modem/ModemControl.h"

using namespace Qt::StringLiterals;

ServiceStart::Outcome ServiceStart::run(MessageBoxes &boxes)
{
    m_settings = readServiceSettings(m_parts.registry);
    if (!m_parts.session.OpenDB()) {
        m_console.addLogLine(u"数据库连接失败"_s);
        return m_parts.session.GetConnectString().isEmpty() ? Outcome::SettingMissing
                                                            : Outcome::DatabaseAbsent;
    }
    m_console.addLogLine(u"成功连接数据库"_s);

    if (m_settings.areServersSeveral && !NamedLock::whyUnsupported(m_parts.session.Conn()).isEmpty()) {
        boxes.inform(u"设置了 Servers=several，但该数据库没有会话锁，只能由一个短信服务器使用。"
                     "请改用 PostgreSQL、MariaDB、MySQL 或 SQL Server，或清除 Servers 设置。"_s);
        return Outcome::SettingMissing;
    }
    tellDatabaseProblems();
    for (const QString &problem : std::as_const(m_settings.problems))
        m_console.addLogLine(problem);
    if (m_settings.serviceCentre.isEmpty()) {
        boxes.inform(u"请首先进行参数配置,配置短信中心号码!"_s);
        return Outcome::SettingMissing;
    }
    if (m_settings.serverPort.isEmpty()) {
        m_console.addLogLine(u"没有指定GSM Modem COM端口,请正确配置 GSM Modem COM端口"_s);
        return Outcome::SettingMissing;
    }

    m_console.setPanelText(OperatorConsole::Status, u"正在连接端口..."_s);
    const bool opened = openPort();
    const QString portText =
        m_settings.comPort ? QString::number(*m_settings.comPort) : m_settings.serverPort;
    if (!opened) {
        m_console.addLogLine(u"连接 COM"_s + portText + u"失败，请检查连线是否正确。"_s);
        m_console.setPanelText(OperatorConsole::Status, u"启动失败..."_s);
        return m_settings.comPort ? Outcome::PortFailed : Outcome::SettingMissing;
    }
    m_console.addLogLine(u"连接 COM"_s + portText + u"端口成功！"_s);
    m_console.setPanelText(OperatorConsole::Status, u"正在运行..."_s);
    return Outcome::PortOpened;
}

/// A database that is not whole serves as far as it can, and an office that is being set up has no tables yet.
void ServiceStart::tellDatabaseProblems()
{
    try {
        const auto problems = triedWithoutRows(m_parts.session.Conn());
        for (const DatabaseProblem &problem : problems)
            m_console.addLogLine(problem.what);
    } catch (const DatabaseFault &) {
        // The passes tell.
    }
}

bool ServiceStart::openPort()
{
    if (!m_settings.comPort)
        return false;
    m_parts.modem.setPortNumber(*m_settings.comPort);
    m_parts.modem.setSpeed(m_settings.lineSpeed);
    m_parts.modem.setServiceCentre(m_settings.serviceCentre);
    m_parts.modem.setSenderCountryCode(m_settings.senderCountryCode);
    m_parts.modem.setScanInterval(m_settings.scanInterval);
    if (m_parts.modem.isPortOpen())
        static_cast<void>(m_parts.modem.close());
    return m_parts.modem.open() == 0;
}
