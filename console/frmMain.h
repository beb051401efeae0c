#pragma once

#include "alerts/NewMailAlerts.h"
#include "console/LogBox.h"
#include "console/MessageBoxes.h"
#include "console/NotificationIcon.h"
#include "console/StatusPanels.h"
#include "foundation/OperatorConsole.h"
#include "foundation/TaskGuard.h"
#include "incoming/InboundMessageHandler.h"
#include "outgoing/QueueSender.h"
#include "outgoing/ResultArchiver.h"
#include "outgoing/ScheduledMessageExpander.h"

#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <memory>

/// The outside world as the main window needs it; all of it outlives the window.
struct ServerParts {
    const Clock &clock;
    const Registry &registry;
    DatabaseSession &session;
    ModemControl &modem;
};

/// The main window: the service controller with its start/stop button, the log box, the status bar, the six
/// timers and the notification-area icon. The caption of btnOp is the service state.
class frmMain final : public QWidget, public OperatorConsole
{
    Q_OBJECT
public:
    explicit frmMain(const ServerParts &parts);
    ~frmMain() override;

    void addLogLine(const QString &message) override;
    [[nodiscard]] QString panelText(Panel panel) const override { return m_statusBar.text(panel); }
    void setPanelText(Panel panel, const QString &text) override { m_statusBar.setText(panel, text); }
    [[nodiscard]] bool stopRequested() const override { return m_stopRequested && m_stopRequested(); }

    /// Asked between the rows of a pass: has the program been told to end?
    void setStopRequested(std::function<bool()> stopRequested) { m_stopRequested = std::move(stopRequested); }
    /// Replaces the real message boxes.
    void setMessageBoxes(std::unique_ptr<MessageBoxes> boxes) { m_boxes = std::move(boxes); }

    [[nodiscard]] bool isRunning() const;
    /// Ends the service and the program as Stop does, without its question.
    void stopWithoutQuestion();

public slots:
    /// The start/stop button: starts the service, or asks and then ends the program.
    void btnOp_Click();
    /// The menu item "关闭服务".
    void m_Stop_Click();

signals:
    /// One line as added to the log, without its line end.
    void logLineAdded(const QString &line);
    /// The program is to end now; no handler runs any more.
    void ended();

protected:
    void closeEvent(QCloseEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void buildWindow();
    void connectTimers();
    void startService();
    void stopService();
    void setWorkTimers(bool enabled);
    [[nodiscard]] int scanIntervalMilliseconds() const;
    void tDisTime_Timer();

    ServerParts m_parts;
    std::function<bool()> m_stopRequested;
    std::unique_ptr<MessageBoxes> m_boxes = std::make_unique<WindowMessageBoxes>();

    FaultLog m_faults{*this};
    TaskGuard m_guard{m_parts.session, *this, m_faults};
    ScheduledMessageExpander m_expander{m_parts.session, *this, m_faults, m_parts.clock};
    QueueSender m_sender{m_parts.session, *this, m_faults, m_parts.modem};
    ResultArchiver m_archiver{m_parts.session, *this, m_faults, m_parts.clock};
    InboundMessageHandler m_inbound{m_parts.session, *this, m_faults, m_guard, m_parts.modem};
    NewMailAlerts m_newMailAlerts{m_parts.session, *this, m_faults};

    QPushButton btnOp{this};
    QPushButton Command1{this};
    LogBox m_smsLog{this};
    StatusPanels m_statusBar{this};
    NotificationIcon m_icon;

    QTimer TSend;
    QTimer TSendResultDetail;
    QTimer tSchedule;
    QTimer TNewMail;
    QTimer tReceivePopMail;
    QTimer tDisTime;

    qint32 ComPort = 0;
    bool m_asking = false; // the stop question is on the screen
    bool m_ended = false;
};
