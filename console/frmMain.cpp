#include "console/frmMain.h"

#include "console/frmParm.h"
#include "foundation/GetFormateTime.h"
#include "foundation/Settings.h"

#include <QCloseEvent>
#include <QDesktopServices>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace
{

constexpr int clockIntervalMilliseconds = 1000;

QString startCaption()
{
    return u"启动"_s;
}
QString stopCaption()
{
    return u"停止"_s;
}

/// A log line is one line, whatever a value in it holds.
QString onOneLine(QString text)
{
    for (QChar &character : text) {
        // U+FDD0 and U+FDD1 are frame marks to a text document.
        if (character.category() == QChar::Other_Control || character == QChar::LineSeparator ||
            character == QChar::ParagraphSeparator || character == QChar(0xfdd0) ||
            character == QChar(0xfdd1))
            character = u' ';
    }
    return text;
}

} // namespace

frmMain::frmMain(ServerParts parts) : m_parts(std::move(parts))
{
    buildWindow();
    connectTimers();
    connect(&btnOp, &QPushButton::clicked, this, &frmMain::btnOp_Click);
    connect(&Command1, &QPushButton::clicked, this, &frmMain::Command1_Click);
    connect(&lblUrl, &LinkLabel::clicked, this, &frmMain::openWebPage);
    connect(&m_icon, &NotificationIcon::leftPressed, this, [this] { setVisible(true); });
    connect(&m_icon, &NotificationIcon::logChosen, this, &frmMain::m_log_Click);
    connect(&m_icon, &NotificationIcon::aboutChosen, this, &frmMain::m_about_Click);
    connect(&m_icon, &NotificationIcon::stopChosen, this, &frmMain::m_Stop_Click);
    connect(&m_parts.modem, &ModemControl::notice, this,
            [this](const QString &text) { m_startLog.addLogLine(text); });
    connect(&m_unattendedStart, &UnattendedStart::givenUp, this, &frmMain::startGivenUp);
    setPanelText(Status, u"等待..."_s);
    tDisTime_Timer();
}

frmMain::~frmMain() = default;

void frmMain::setPanelText(Panel panel, const QString &text)
{
    m_statusBar.setText(panel, text);
    if (panel == Status)
        emit statusChanged(text);
}

bool frmMain::stopRequested() const
{
    paintNow();
    return m_stopRequested && m_stopRequested();
}

void frmMain::paintNow() const
{
    constexpr int pauseMs = 250;
    if (!isVisible() || isMinimized() || (m_sincePainted.isValid() && m_sincePainted.elapsed() < pauseMs))
        return;
    m_sincePainted.start();
    // Without the event loop nobody hears that the window was uncovered.
    const_cast<frmMain *>(this)->repaint();
}

void frmMain::setVisible(bool visible)
{
    if (!visible && isVisible())
        m_place = pos();
    else if (visible && !isVisible() && m_place)
        move(*m_place);
    QWidget::setVisible(visible);
}

void frmMain::addLogLine(const QString &message)
{
    const QString line = GetFormateTime(m_parts.clock) + u' ' + onOneLine(message);
    m_smsLog.prependLine(line);
    emit logLineAdded(line);
}

void frmMain::showActivity(const QString &activity)
{
    // Both reach the screen at once, without an event loop.
    setWindowTitle(activity.isEmpty() ? windowCaption() : windowCaption() + u" - "_s + activity);
    if (activity.isEmpty())
        unsetCursor();
    else
        setCursor(Qt::BusyCursor);
}

bool frmMain::isRunning() const
{
    return btnOp.text() != startCaption();
}

void frmMain::btnOp_Click()
{
    if (!isRunning()) {
        m_unattendedStart.end();
        startService();
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
    m_unattendedStart.end();
    if (isRunning())
        m_passes.guard().run(u"停止服务"_s, [this] { stopService(); });
    m_icon.remove();
    emit ended();
}

std::optional<ServiceStart::Outcome> frmMain::startService()
{
    std::optional<ServiceStart::Outcome> outcome;
    m_passes.guard().run(u"启动服务"_s, [this, &outcome] {
        outcome = m_start.run(*m_boxes);
        if (outcome == ServiceStart::Outcome::PortOpened)
            enableWorkTimers();
    });
    if (!outcome)
        setPanelText(Status, u"启动失败..."_s);
    return outcome;
}

void frmMain::enableWorkTimers()
{
    for (QTimer *timer : workTimers())
        timer->setInterval(m_start.intervalMilliseconds());
    for (QTimer *timer : workTimers())
        timer->start();
    btnOp.setText(stopCaption());
}

void frmMain::startUnattended()
{
    if (!isRunning())
        m_unattendedStart.begin();
}

int frmMain::retryInterval()
{
    int interval = ServiceStart::defaultIntervalMilliseconds;
    m_passes.guard().run(u"读取扫描时间间隔"_s, [&] { interval = m_start.scanIntervalMilliseconds(); });
    return interval;
}

void frmMain::stopService()
{
    if (m_parts.modem.isPortOpen()) {
        const bool released = m_parts.modem.close() == 0;
        addLogLine(u"释放 COM"_s + QString::number(m_start.comPort()) +
                   (released ? u"端口成功！"_s : u"端口失败"_s));
    }
    btnOp.setText(startCaption());
    for (QTimer *timer : workTimers())
        timer->stop();
    m_passes.stop();
    setPanelText(ToSend, u"准备就绪"_s);
    m_icon.remove();
    setPanelText(Status, u"服务未启动..."_s);
}

void frmMain::Command1_Click()
{
    frmParm dialog(m_parts.session, m_parts.registry, *m_boxes, this);
    dialog.setSelfCheck(m_selfCheck);
    dialog.Form_Load();
    if (!m_ended)
        dialog.exec();
    if (!m_ended)
        activateWindow(); // not every window manager gives the focus back
}

void frmMain::m_about_Click()
{
    openWebPage(webAddress("MakerUrl"_L1, QStringLiteral(SMS_MAKER_URL)));
}

QString frmMain::webAddress(QLatin1String setting, const QString &builtIn)
{
    QString address;
    m_passes.guard().run(u"读取网址"_s,
                         [&] { address = m_parts.registry.read(Settings::localPath(setting)).trimmed(); });
    return address.isEmpty() ? builtIn : address;
}

void frmMain::openWebPage(const QString &address)
{
    QDesktopServices::openUrl(QUrl(address));
}

void frmMain::bringToFront()
{
    if (m_ended)
        return;
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    activateWindow();
}

void frmMain::tDisTime_Timer()
{
    setPanelText(Time, GetFormateTime(m_parts.clock));
    fitIntoTile();
}

void frmMain::connectTimers()
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
