#pragma once

#include <QMenu>
#include <QSystemTrayIcon>

/// The icon in the notification area with its popup menu. It is there from construction to remove(), always
/// the same; where the desktop has no notification area, nothing is shown.
class NotificationIcon final : public QObject
{
    Q_OBJECT
public:
    explicit NotificationIcon(QObject *parent = nullptr);

    /// The popup menu m_dis: m_log (default), m_about, m_Stop.
    [[nodiscard]] QMenu &menu() { return m_menu; }
    void remove() { m_icon.hide(); }

signals:
    /// Pressed with the left button, or m_log.
    void windowWanted();
    void aboutChosen();
    void stopChosen();

private:
    QMenu m_menu; // declared before the icon, which uses it
    QSystemTrayIcon m_icon;
};
