#pragma once

#include "console/LinkLabel.h"
#include "console/LogBox.h"
#include "console/NotificationIcon.h"
#include "console/StatusPanels.h"
#include "service/ConsoleSignals.h"
#include "service/Service.h"

#include <QElapsedTimer>
#include <QGroupBox>
#include <QPushButton>
#include <QTimer>

/// The main window: shows the service and its console with the start/stop button, the log box, the status bar,
/// and the notification-area icon. The caption of btnOp tells the service's state.
class frmMain final : public QWidget
{
    Q_OBJECT
public:
    /// All of these outlive the window.
    frmMain(const ServerParts &parts, Service &service, ConsoleSignals &console, MessageBoxes &boxes);

    /// What the settings dialog's test button runs: a program and its arguments.
    void setSelfCheck(std::function<QStringList()> selfCheck) { m_selfCheck = std::move(selfCheck); }

    /// What a tooltip of the status bar tells.
    void setStatus(std::function<QString()> status) { m_statusBar.setStatus(std::move(status)); }

    /// During a long wait: shows what is to be shown, also where others covered the window and uncovered it.
    void paintNow();
    /// Back where it was when it was hidden.
    void setVisible(bool visible) override;
    /// The popup menu m_dis.
    [[nodiscard]] QMenu *menu() { return &m_icon.menu(); }
    /// Shows the window in front of the others, minimised or not.
    void bringToFront();

public slots:
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

protected:
    void changeEvent(QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;
    void moveEvent(QMoveEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    [[nodiscard]] static QString windowCaption();
    void buildWindow();
    void describeForScreenReaders();
    void holdMinimumSize();
    void layOut();
    void placeControls(const QSize &client);
    void fitIntoTile();
    void connectControls();
    void followService();
    void showState();
    /// In the title, and as a busy pointer over the window.
    void showActivity(const QString &activity);
    void tDisTime_Timer();
    /// The address that the setting holds, else the one that was built in.
    [[nodiscard]] QString webAddress(const QString &setting, const QString &builtIn);

    const ServerParts m_parts;
    Service &m_service;
    ConsoleSignals &m_console;
    MessageBoxes &m_boxes;
    std::function<QStringList()> m_selfCheck;
    QElapsedTimer m_sincePainted;

    // In the order in which the keyboard reaches them.
    QPushButton btnOp{this};
    QPushButton Command1{this};
    QGroupBox Frame1{this};
    LinkLabel lblUrl{webAddress(QStringLiteral("ProductUrl"), QStringLiteral(SMS_PRODUCT_URL)), &Frame1};
    LogBox m_smsLog{this};
    StatusPanels m_statusBar{this};
    NotificationIcon m_icon;
    QTimer tDisTime{this};

    std::optional<QPoint> m_place; // while it is hidden
    bool m_isPlaceAsked = false;   // of a window manager that may not have seen the window yet
    QSize m_heldSize;              // a side that was made as large as the minimum; -1 for one that is larger
};
