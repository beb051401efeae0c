#include "service/Service.h"

#include "platform/clock/Clock.h"

using namespace Qt::StringLiterals;

/// Well within what a monitoring system waits for.
constexpr std::chrono::seconds betweenFigures{5};

Service::Service(const ServerParts &parts, OperatorConsole &console, MessageBoxes &boxes)
    : m_parts(parts), m_boxes(boxes), m_metrics(parts.metricsFile), m_console(console, m_metrics)
{
    const auto onTick = [this](QTimer &timer, const QString &name, auto handler) {
        timer.setObjectName(name);
        timer.setTimerType(Qt::PreciseTimer);
        connect(&timer, &QTimer::timeout, this, handler);
    };
    onTick(TSend, u"TSend"_s, [this] { m_passes.send(); });
    onTick(TSendResultDetail, u"TSendResultDetail"_s, [this] { m_passes.archive(); });
    onTick(tSchedule, u"tSchedule"_s, [this] { m_passes.expand(); });
    onTick(TNewMail, u"TNewMail"_s, [this] { m_passes.alert(); });
    onTick(tReceivePopMail, u"tReceivePopMail"_s, [this] { m_passes.collect(); });
    onTick(tStartAgain, u"tStartAgain"_s, [this] { tryAgain(); });
    tStartAgain.setSingleShot(true);
    connect(&m_parts.modem, &ModemControl::notice, this,
            [this](const QString &text) { m_console.addLogLine(text); });
    m_console.setPanelText(OperatorConsole::Status, u"等待..."_s);
    if (m_metrics.isWanted()) { // from now on, also while the start fails
        onTick(tMetrics, u"tMetrics"_s, [this] { writeMetrics(); });
        tMetrics.start(betweenFigures);
        writeMetrics();
    }
}

ServiceState Service::fullState()
{
    ServiceState state = m_passes.state();
    state.since = m_since;
    state.isRunning = isRunning();
    return state;
}

void Service::writeMetrics()
{
    guard().run(u"监控数据"_s, [this] { m_metrics.write(fullState(), m_parts.clock.now()); });
}

void Service::setState(State state)
{
    m_state = state;
    emit stateChanged(state);
}

void Service::start()
{
    endTrying();
    if (!isRunning() && !m_hasEnded)
        tryToStart();
}

void Service::startUnattended()
{
    if (isRunning() || m_hasEnded)
        return;
    m_isTrying = true;
    tryAgain();
}

void Service::endTrying()
{
    m_isTrying = false;
    tStartAgain.stop();
    m_console.forget();
}

void Service::tryAgain()
{
    m_console.beginAttempt();
    const auto outcome = tryToStart();
    m_console.endAttempt();
    if (!m_isTrying) // ended by the operator while a message box of the attempt was on the screen
        return;
    const bool isSettingMissing = outcome == ServiceStart::Outcome::SettingMissing;
    if (isRunning() || isSettingMissing) {
        if (m_hasSaidSo)
            m_console.addLogLine(isRunning() ? u"自动重试成功，服务已启动"_s : u"参数不完整，不再自动重试"_s);
        endTrying();
        if (isSettingMissing)
            emit startGivenUp();
        return;
    }
    const std::chrono::seconds interval = m_start.settings().scanInterval;
    if (!std::exchange(m_hasSaidSo, true))
        m_console.addLogLine(u"启动未成功，每隔 %1 秒自动重试，直到成功"_s.arg(interval.count()));
    tStartAgain.start(interval);
}

std::optional<ServiceStart::Outcome> Service::tryToStart()
{
    std::optional<ServiceStart::Outcome> outcome;
    guard().run(u"启动服务"_s, [this, &outcome] {
        outcome = m_start.run(m_boxes);
        if (outcome == ServiceStart::Outcome::PortOpened) {
            m_passes.setSettings(m_start.settings());
            m_passes.begin();
            startTimers();
        }
    });
    if (!outcome)
        m_console.setPanelText(OperatorConsole::Status, u"启动失败..."_s);
    return outcome;
}

void Service::startTimers()
{
    for (QTimer *timer : workTimers())
        timer->start(m_start.settings().scanInterval);
    setState(State::Running);
}

void Service::askAndStop()
{
    if (m_isAsking)
        return;
    m_isAsking = true;
    const bool isWanted = m_boxes.confirm(u"确实要停止短信服务器吗？"_s);
    m_isAsking = false;
    if (isWanted)
        stop();
}

void Service::stop()
{
    if (std::exchange(m_hasEnded, true))
        return;
    endTrying();
    if (isRunning())
        guard().run(u"停止服务"_s, [this] { stopWork(); });
    emit ended();
}

void Service::stopWork()
{
    if (m_parts.modem.isPortOpen()) {
        const bool released = m_parts.modem.close() == 0;
        m_console.addLogLine(u"释放 COM"_s + QString::number(m_start.settings().comPort.value_or(0)) +
                             (released ? u"端口成功！"_s : u"端口失败"_s));
    }
    setState(State::Stopped);
    for (QTimer *timer : workTimers())
        timer->stop();
    m_passes.stop();
    m_console.setPanelText(OperatorConsole::ToSend, u"准备就绪"_s);
    emit workEnded();
    m_console.setPanelText(OperatorConsole::Status, u"服务未启动..."_s);
}
