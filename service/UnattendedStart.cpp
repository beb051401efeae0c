#include "service/UnattendedStart.h"

using namespace Qt::StringLiterals;

UnattendedStart::UnattendedStart(ServiceConsole &console,
                                 std::function<std::optional<ServiceStart::Outcome>()> attempt,
                                 std::function<std::chrono::milliseconds()> interval, QObject *parent)
    : QObject(parent), m_console(console), m_attempt(std::move(attempt)), m_interval(std::move(interval))
{
    m_again.setObjectName(u"tStartAgain"_s);
    m_again.setSingleShot(true);
    m_again.setTimerType(Qt::PreciseTimer);
    connect(&m_again, &QTimer::timeout, this, &UnattendedStart::tryOnce);
}

void UnattendedStart::begin()
{
    m_isTrying = true;
    tryOnce();
}

void UnattendedStart::end()
{
    m_isTrying = false;
    m_again.stop();
    m_console.forget();
}

void UnattendedStart::tryOnce()
{
    m_console.beginAttempt();
    const auto outcome = m_attempt();
    m_console.endAttempt();
    if (!m_isTrying) // ended by the operator while a message box of the attempt was on the screen
        return;
    if (outcome == ServiceStart::Outcome::PortOpened || outcome == ServiceStart::Outcome::SettingMissing) {
        if (m_hasSaid)
            m_console.addLogLine(outcome == ServiceStart::Outcome::PortOpened
                                     ? u"自动重试成功，服务已启动"_s
                                     : u"参数不完整，不再自动重试"_s);
        end();
        if (outcome == ServiceStart::Outcome::SettingMissing)
            emit givenUp();
        return;
    }
    const std::chrono::milliseconds interval = m_interval();
    if (!m_hasSaid)
        m_console.addLogLine(
            u"启动未成功，每隔 %1 秒自动重试，直到成功"_s.arg(interval / std::chrono::seconds(1)));
    m_hasSaid = true;
    m_again.start(interval);
}
