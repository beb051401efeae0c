#include "console/NotificationIcon.h"

#include "console/ProgramIcon.h"

#include <QGuiApplication>

using namespace Qt::StringLiterals;

NotificationIcon::NotificationIcon(QObject *parent) : QObject(parent), m_menu(u"系统菜单"_s)
{
    m_menu.setObjectName(u"m_dis"_s);
    m_menu.setWindowTitle(m_menu.title());
    QAction *log = m_menu.addAction(u"打开日志"_s, this, &NotificationIcon::windowWanted);
    log->setObjectName(u"m_log"_s);
    m_menu.setDefaultAction(log);
    m_menu.addSeparator()->setObjectName(u"m_l1"_s);
    m_menu.addAction(u"关于Korvalin"_s, this, &NotificationIcon::aboutChosen)->setObjectName(u"m_about"_s);
    m_menu.addSeparator()->setObjectName(u"m_l2"_s);
    m_menu.addAction(u"关闭服务"_s, this, &NotificationIcon::stopChosen)->setObjectName(u"m_Stop"_s);

    m_icon.setIcon(programIcon());
    m_icon.setToolTip(u"Brenmoor OA SMS Server 2006 正在运行"_s);
    m_icon.setContextMenu(&m_menu);
    connect(&m_icon, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        // A double click comes with a trigger of its own.
        if (reason == QSystemTrayIcon::Trigger)
            emit windowWanted();
    });
    // Without a display there is no notification area, and asking for one only brings warnings.
    if (QGuiApplication::platformName() != u"offscreen")
        m_icon.show();
}
