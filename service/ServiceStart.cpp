#include "service/ServiceStart.h"

#include "foundation/DatabaseSession.h"
#include "foundation/DatabaseTrial.h"
#include "foundation/NumericText.h"
#include "foundation/PassLock.h"
#include "foundation/Settings.h"
#include "modem/ModemControl.h"

#include <limits>

using namespace Qt::StringLiterals;

std::optional<qint16> ServiceStart::comPortNumber(const QString &text)
{
    const auto value = numericValue(text);
    const auto number = value ? wholeNumber(*value) : std::nullopt;
    if (!number || *number != *value || *number != static_cast<qint16>(*number))
        return std::nullopt;
    return static_cast<qint16>(*number);
}

ServiceStart::Outcome ServiceStart::run(MessageBoxes &boxes)
{
    if (!m_parts.session.OpenDB()) {
        m_console.addLogLine(u"数据库连接失败"_s);
        return m_parts.session.GetConnectString().isEmpty() ? Outcome::SettingMissing
                                                            : Outcome::DatabaseAbsent;
    }
    m_console.addLogLine(u"成功连接数据库"_s);

    if (areServersSeveral(m_parts.registry) && !NamedLock::whyUnsupported(m_parts.session.Conn()).isEmpty()) {
        boxes.inform(u"设置了 Servers=several，但该数据库没有会话锁，只能由一个短信服务器使用。"
                     "请改用 PostgreSQL、MariaDB、MySQL 或 SQL Server，或清除 Servers 设置。"_s);
        return Outcome::SettingMissing;
    }
    tellDatabaseProblems();
    const QString centerCode = m_parts.registry.read(Settings::centerCodePath());
    if (centerCode.isEmpty()) {
        boxes.inform(u"请首先进行参数配置,配置短信中心号码!"_s);
        return Outcome::SettingMissing;
    }
    m_interval = scanInterval();
    const QString serverPort = m_parts.registry.read(Settings::serverPortPath());
    if (serverPort.isEmpty()) {
        m_console.addLogLine(u"没有指定GSM Modem COM端口,请正确配置 GSM Modem COM端口"_s);
        return Outcome::SettingMissing;
    }
    const auto port = comPortNumber(serverPort);
    m_comPort = port.value_or(0);

    m_console.setPanelText(OperatorConsole::Status, u"正在连接端口..."_s);
    const bool opened = openPort(port, centerCode);
    const QString portText = port ? QString::number(m_comPort) : serverPort;
    if (!opened) {
        m_console.addLogLine(u"连接 COM"_s + portText + u"失败，请检查连线是否正确。"_s);
        m_console.setPanelText(OperatorConsole::Status, u"启动失败..."_s);
        return port ? Outcome::PortFailed : Outcome::SettingMissing;
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

bool ServiceStart::openPort(std::optional<qint16> port, const QString &centerCode)
{
    if (!port)
        return false;
    m_parts.modem.setPortNumber(*port);
    m_parts.modem.setSpeed(m_parts.registry.read(Settings::comSpeedPath(*port)).trimmed().toInt());
    m_parts.modem.setServiceCentre(usualWidth(centerCode).trimmed());
    const QString countryCode = m_parts.registry.read(Settings::localPath("SenderCountryCode"_L1));
    m_parts.modem.setSenderCountryCode(countryCode.trimmed());
    m_parts.modem.setScanInterval(std::chrono::duration_cast<std::chrono::seconds>(m_interval));
    if (m_parts.modem.isPortOpen())
        static_cast<void>(m_parts.modem.close());
    return m_parts.modem.open() == 0;
}

std::chrono::milliseconds ServiceStart::scanInterval() const
{
    const auto delay = numericValue(m_parts.registry.read(Settings::timeDelayPath()));
    const auto seconds = delay ? wholeNumber(*delay) : std::nullopt;
    if (!seconds || *seconds <= 0)
        return defaultInterval;
    // What a timer holds: about 24 days.
    return qMin<std::chrono::milliseconds>(std::chrono::seconds(*seconds),
                                           std::chrono::milliseconds(std::numeric_limits<int>::max()));
}
