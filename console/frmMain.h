#pragma once

#include "console/LinkLabel.h"
#include "console/LogBox.h"
#include "console/NotificationIcon.h"
#include "console/StatusPanels.h"
#include "console/WindowMessageBoxes.h"
#include "service/ServicePasses.h"
#include "service/UnattendedStart.h"

#include <QElapsedTimer>
#include <QGroupBox>
#include <QPushButton>
#include <QTimer>
#include <array>
#include <memory>

/// The main window: the service controller with its start/stop button, the log box, the status bar, the six
/// timers and the notification-area icon. The caption of btnOp is the service state.
class frmMain final : public QWidget, public OperatorConsole
{
    Q_OBJECT
public:
    explicit frmMain(ServerParts parts);
    ~frmMain() override;

    void addLogLine(const QString &message) override;
    [[nodiscard]] QString panelText(Panel panel) const override { return m_statusBar.text(panel); }
    void setPanelText(Panel panel, const QString &text) override;
    void count(Event event, const QString &cause) override { m_passes.metrics().count(event, cause); }
    /// In the title, and as a busy pointer over the window.
    void showActivity(const QString &activity) override;
    /// Paints the window too, which others may have covered and uncovered since.
    [[nodiscard]] bool stopRequested() const override;

    /// Asked between the rows of a pass: has the program been told to end?
    void setStopRequested(std::function<bool()> stopRequested) { m_stopRequested = std::move(stopRequested); }
    /// What the settings dialog's test button does: an answer to show.
    void setSelfCheck(std::function<QString()> selfCheck) { m_selfCheck = std::move(selfCheck); }
    /// Replaces the real message boxes.
    void setMessageBoxes(std::unique_ptr<MessageBoxes> boxes) { m_boxes = std::move(boxes); }

    [[nodiscard]] bool isRunning() const;
    /// During a long wait: shows what is to be shown.
    void paintNow() const;
    /// Back where it was when it was hidden.
    void setVisible(bool visible) override;
    /// The popup menu m_dis.
    [[nodiscard]] QMenu *menu() { return &m_icon.menu(); }
    /// Ends the service and the program as Stop does, without its question.
    void stopWithoutQuestion();
    /// Shows the window in front of the others, minimised or not.
    void bringToFront();

public slots:
    /// Starts the service as btnOp does, again and again until the database and the modem are there.
    void startUnattended();
    /// The start/stop button: starts the service, or asks and then ends the program.
    void btnOp_Click();
    /// The button "配置": the settings dialog.
    void Command1_Click();
    /// The menu item "打开日志".
    void m_log_Click() { setVisible(true); }
    /// The menu item "关于Korvalin": the maker's web page.
    void m_about_Click();
    /// The menu item "关闭服务".
    void m_Stop_Click();

signals:
    /// One line as added to the log, without its line end.
    void logLineAdded(const QString &line);
    /// The status panel shows something else.
    void statusChanged(const QString &text);
    /// The unattended start needs a setting that a person has to give.
    void startGivenUp();
    /// The program is to end now; no handler runs any more.
    void ended();

protected:
    void changeEvent(QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;
    void moveEvent(QMoveEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    [[nodiscard]] static QString windowCaption();
    void buildWindow();
    void describeForScreenReaders();
    void holdMinimumSize();
    void layOut();
    void placeControls(const QSize &client);
    void fitIntoTile();
    void connectTimers();
    std::optional<ServiceStart::Outcome> startService();
    void enableWorkTimers();
    /// In the order in which they are enabled and disabled.
    [[nodiscard]] std::array<QTimer *, 5> workTimers()
    {
        return {&TSend, &TSendResultDetail, &tSchedule, &TNewMail, &tReceivePopMail};
    }
    [[nodiscard]] int retryInterval();
    void stopService();
    void tDisTime_Timer();
    /// The address that the setting holds, else the one that was built in.
    [[nodiscard]] QString webAddress(QLatin1String setting, const QString &builtIn);
    void openWebPage(const QString &address);

    ServerParts m_parts;
    std::function<bool()> m_stopRequested;
    std::function<QString()> m_selfCheck;
    mutable QElapsedTimer m_sincePainted;
    std::unique_ptr<MessageBoxes> m_boxes = std::make_unique<WindowMessageBoxes>();

    ServicePasses m_passes{m_parts, *this};
    StartLog m_startLog{*this};
    ServiceStart m_start{m_parts, m_startLog};
    UnattendedStart m_unattendedStart{m_startLog, [this] { return startService(); },
                                      [this] { return retryInterval(); }, this};

    QGroupBox Frame1{this};
    LinkLabel lblUrl{webAddress(QLatin1String("ProductUrl"), QStringLiteral(SMS_PRODUCT_URL)), &Frame1};
    QPushButton btnOp{this};
    QPushButton Command1{this};
    LogBox m_smsLog{this};
    StatusPanels m_statusBar{this};
    NotificationIcon m_icon;

    QTimer TSend{this};
    QTimer TSendResultDetail{this};
    QTimer tSchedule{this};
    QTimer TNewMail{this};
    QTimer tReceivePopMail{this};
    QTimer tDisTime{this};

    std::optional<QPoint> m_place; // while it is hidden
    QSize m_heldSize;              // a side that was made as large as the minimum; -1 for one that is larger
    bool m_asking = false;         // the stop question is on the screen
    bool m_ended = false;
};
