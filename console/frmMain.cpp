#include "console/frmMain.h"

#include "console/frmParm.h"
#include "foundation/GetFormateTime.h"
#include "foundation/Settings.h"

#include <QCloseEvent>
#include <QDesktopServices>
#include <QUrl>

using namespace Qt::StringLiterals;

frmMain::frmMain(const ServerParts &parts, Service &service, ConsoleSignals &console, MessageBoxes &boxes)
    : m_parts(parts), m_service(service), m_console(console), m_boxes(boxes)
{
    buildWindow();
    connectControls();
    followService();
    tDisTime_Timer();
}

void frmMain::connectControls()
{
    connect(&btnOp, &QPushButton::clicked, this, &frmMain::btnOp_Click);
    connect(&Command1, &QPushButton::clicked, this, &frmMain::Command1_Click);
    connect(&lblUrl, &LinkLabel::chosen, this,
            [](const QString &address) { QDesktopServices::openUrl(QUrl(address)); });
    connect(&m_icon, &NotificationIcon::windowWanted, this, &frmMain::m_log_Click);
    connect(&m_icon, &NotificationIcon::aboutChosen, this, &frmMain::m_about_Click);
    connect(&m_icon, &NotificationIcon::stopChosen, this, &frmMain::m_Stop_Click);
    constexpr std::chrono::seconds clockInterval{1};
    tDisTime.setObjectName(u"tDisTime"_s);
    tDisTime.setTimerType(Qt::PreciseTimer);
    connect(&tDisTime, &QTimer::timeout, this, &frmMain::tDisTime_Timer);
    tDisTime.start(clockInterval);
}

void frmMain::followService()
{
    connect(&m_console, &ConsoleSignals::lineAdded, &m_smsLog, &LogBox::prependLine);
    connect(&m_console, &ConsoleSignals::panelChanged, &m_statusBar, &StatusPanels::setText);
    connect(&m_console, &ConsoleSignals::activityChanged, this, &frmMain::showActivity);
    connect(&m_service, &Service::stateChanged, this, &frmMain::showState);
    connect(&m_service, &Service::workEnded, &m_icon, &NotificationIcon::remove);
    connect(&m_service, &Service::ended, &m_icon, &NotificationIcon::remove);
    m_statusBar.setText(OperatorConsole::Status, m_console.panelText(OperatorConsole::Status));
    showState();
}

void frmMain::paintNow()
{
    constexpr std::chrono::milliseconds pause{250};
    if (!isVisible() || isMinimized() ||
        (m_sincePainted.isValid() && m_sincePainted.elapsed() < pause.count()))
        return;
    m_sincePainted.start();
    // Without the event loop nobody hears that the window was uncovered.
    repaint();
}

void frmMain::setVisible(bool visible)
{
    if (!visible && isVisible()) {
        m_place = pos();
    } else if (visible && !isVisible() && m_place) {
        move(*m_place);
        m_isPlaceAsked = true;
    }
    QWidget::setVisible(visible);
}

void frmMain::paintEvent(QPaintEvent *event)
{
    QWidget::paintEvent(event);
    // Some window managers place a window as they like when it appears, whatever it asked for before.
    if (std::exchange(m_isPlaceAsked, false))
        QTimer::singleShot(0, this, [this] { move(*m_place); });
}

void frmMain::showState()
{
    btnOp.setText(m_service.isRunning() ? u"停止"_s : u"启动"_s);
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

void frmMain::btnOp_Click()
{
    if (m_service.isRunning())
        m_service.askAndStop();
    else
        m_service.start();
}

void frmMain::m_Stop_Click()
{
    if (m_service.isRunning())
        btnOp_Click();
    else
        m_service.stop();
}

void frmMain::Command1_Click()
{
    frmParm dialog(m_parts.session, m_parts.registry, m_boxes, this);
    dialog.setSelfCheck(m_selfCheck);
    dialog.Form_Load();
    if (!m_service.hasEnded())
        dialog.exec();
    if (!m_service.hasEnded())
        activateWindow(); // not every window manager gives the focus back
}

void frmMain::m_about_Click()
{
    QDesktopServices::openUrl(QUrl(webAddress(u"MakerUrl"_s, QStringLiteral(SMS_MAKER_URL))));
}

QString frmMain::webAddress(const QString &setting, const QString &builtIn)
{
    QString address;
    m_service.guard().run(u"读取网址"_s, [&] { address = Settings::read(m_parts.registry, setting).plain; });
    return address.isEmpty() ? builtIn : address;
}

void frmMain::bringToFront()
{
    if (m_service.hasEnded())
        return;
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    activateWindow();
}

void frmMain::tDisTime_Timer()
{
    m_console.setPanelText(OperatorConsole::Time, GetFormateTime(m_parts.clock));
    fitIntoTile();
}

void frmMain::closeEvent(QCloseEvent *event)
{
    if (!isVisible())
        return;
    hide();
    event->ignore();
}
