#include "console/frmMain.h"

#include "console/Twips.h"
#include "foundation/GetFormateTime.h"
#include "foundation/NumericText.h"
#include "foundation/Settings.h"

#include <QCloseEvent>
#include <limits>

using namespace Qt::StringLiterals;

namespace
{

constexpr int defaultScanIntervalMilliseconds = 10000;
constexpr int clockIntervalMilliseconds = 1000;

QString startCaption()
{
    return u"启动"_s;
}
QString stopCaption()
{
    return u"停止"_s;
}

/// A COM port number: a whole number in the 16-bit range that the modem control takes.
std::optional<qint16> comPortNumber(const QString &text)
{
    bool isNumber = false;
    const qint16 number = text.trimmed().toShort(&isNumber);
    return isNumber ? std::optional(number) : std::nullopt;
}

} // namespace

frmMain::frmMain(const ServerParts &parts) : m_parts(parts)
{
    buildWindow();
    connectTimers();
    connect(&btnOp, &QPushButton::clicked, this, &frmMain::btnOp_Click);
    connect(&m_icon, &NotificationIcon::leftPressed, this, [this] { setVisible(true); });
    connect(&m_icon, &NotificationIcon::logChosen, this, [this] { setVisible(true); });
    connect(&m_icon, &NotificationIcon::stopChosen, this, &frmMain::m_Stop_Click);
    connect(&m_parts.modem, &ModemControl::notice, this, &frmMain::addLogLine);
    connect(&m_parts.modem, &ModemControl::messageArrived, this, [this] { m_inbound.messageArrived(); });
    setPanelText(Status, u"等待..."_s);
    tDisTime_Timer();
}

frmMain::~frmMain() = default;

void frmMain::addLogLine(const QString &message)
{
    // A log line is one line, whatever a value in it holds.
    QString oneLine = message;
    oneLine.replace(u'\r', u' ').replace(u'\n', u' ');
    const QString line = GetFormateTime(m_parts.clock) + u' ' + oneLine;
    m_smsLog.prependLine(line);
    emit logLineAdded(line);
}

bool frmMain::isRunning() const
{
    return btnOp.text() != startCaption();
}

void frmMain::btnOp_Click()
{
    if (!isRunning()) {
        m_guard.run(u"启动服务"_s, [this] { startService(); });
    } else if (!m_asking) {
        m_asking = true;
        const bool stop = m_boxes->confirm(u"确实要停止短信服务器吗？"_s);
        m_asking = false;
        if (stop && !m_ended)
            stopWithoutQuestion();
    }
}

void frmMain::m_Stop_Click()
{
    if (isRunning())
        btnOp_Click();
    else
        stopWithoutQuestion();
}

void frmMain::stopWithoutQuestion()
{
    if (m_ended)
        return;
    m_ended = true;
    if (isRunning())
        m_guard.run(u"停止服务"_s, [this] { stopService(); });
    m_icon.remove();
    emit ended();
}

void frmMain::startService()
{
    if (!m_parts.session.OpenDB()) {
        addLogLine(u"数据库连接失败"_s);
        return;
    }
    addLogLine(u"成功连接数据库"_s);

    const QString centerCode = m_parts.registry.read(Settings::centerCodePath());
    if (centerCode.isEmpty()) {
        m_boxes->inform(u"请首先进行参数配置,配置短信中心号码!"_s);
        return;
    }
    const int interval = scanIntervalMilliseconds();
    const QString serverPort = m_parts.registry.read(Settings::serverPortPath());
    if (serverPort.isEmpty()) {
        addLogLine(u"没有指定GSM Modem COM端口,请正确配置 GSM Modem COM端口"_s);
        return;
    }
    const auto port = comPortNumber(serverPort);
    ComPort = port.value_or(0);

    setPanelText(Status, u"正在连接端口..."_s);
    bool opened = false;
    if (port) {
        m_parts.modem.setPortNumber(*port);
        m_parts.modem.setServiceCentre(centerCode.trimmed());
        m_parts.modem.setSenderCountryCode(
            m_parts.registry.read(Settings::senderCountryCodePath()).trimmed());
        if (m_parts.modem.isPortOpen())
            static_cast<void>(m_parts.modem.close());
        opened = m_parts.modem.open() == 0;
    }
    const QString portText = port ? QString::number(ComPort) : serverPort;
    if (!opened) {
        addLogLine(u"连接 COM"_s + portText + u"失败，请检查连线是否正确。"_s);
        setPanelText(Status, u"启动失败..."_s);
        return;
    }
    addLogLine(u"连接 COM"_s + portText + u"端口成功！"_s);
    setPanelText(Status, u"正在运行..."_s);
    for (QTimer *timer : {&TSend, &TSendResultDetail, &tSchedule, &TNewMail, &tReceivePopMail})
        timer->setInterval(interval);
    setWorkTimers(true);
    btnOp.setText(stopCaption());
}

void frmMain::stopService()
{
    if (m_parts.modem.isPortOpen()) {
        const bool released = m_parts.modem.close() == 0;
        addLogLine(u"释放 COM"_s + QString::number(ComPort) + (released ? u"端口成功！"_s : u"端口失败"_s));
    }
    btnOp.setText(startCaption());
    setWorkTimers(false);
    setPanelText(ToSend, u"准备就绪"_s);
    m_icon.remove();
    setPanelText(Status, u"服务未启动..."_s);
}

void frmMain::setWorkTimers(bool enabled)
{
    for (QTimer *timer : {&TSend, &TSendResultDetail, &tSchedule, &TNewMail, &tReceivePopMail}) {
        if (enabled)
            timer->start();
        else
            timer->stop();
    }
}

int frmMain::scanIntervalMilliseconds() const
{
    const auto delay = numericValue(m_parts.registry.read(Settings::timeDelayPath()));
    const auto seconds = delay ? wholeNumber(*delay) : std::nullopt;
    if (!seconds || *seconds <= 0)
        return defaultScanIntervalMilliseconds;
    // What a timer holds: about 24 days.
    return static_cast<int>(qMin<qint64>(qint64(*seconds) * 1000, std::numeric_limits<int>::max()));
}

void frmMain::tDisTime_Timer()
{
    setPanelText(Time, GetFormateTime(m_parts.clock));
}

void frmMain::connectTimers()
{
    const auto onTick = [this](QTimer &timer, const QString &name, auto handler) {
        timer.setObjectName(name);
        timer.setTimerType(Qt::PreciseTimer);
        connect(&timer, &QTimer::timeout, this, handler);
    };
    onTick(TSend, u"TSend"_s, [this] { m_guard.runPass(u"短信发送"_s, [this] { m_sender.pass(); }); });
    onTick(TSendResultDetail, u"TSendResultDetail"_s,
           [this] { m_guard.runPass(u"发送结果归档"_s, [this] { m_archiver.pass(); }); });
    onTick(tSchedule, u"tSchedule"_s,
           [this] { m_guard.runPass(u"定时短信处理"_s, [this] { m_expander.pass(); }); });
    onTick(TNewMail, u"TNewMail"_s,
           [this] { m_guard.runPass(u"新邮件提醒"_s, [this] { m_newMailAlerts.pass(); }); });
    tReceivePopMail.setObjectName(u"tReceivePopMail"_s);
    onTick(tDisTime, u"tDisTime"_s, [this] { tDisTime_Timer(); });
    tDisTime.start(clockIntervalMilliseconds);
}

void frmMain::closeEvent(QCloseEvent *event)
{
    if (!isVisible())
        return;
    hide();
    event->ignore();
}
