#include "tests/simulation/Server.h"

#include "foundation/Settings.h"
#include "tests/simulation/Kill.h"
#include "tests/simulation/MemoryDisk.h"
#include "tests/simulation/World.h"
#include "tests/support/LockTable.h"

using namespace Qt::StringLiterals;

Server::Server(int number, const Story &story, LockTable &locks, std::function<void(const QString &line)> log)
    : m_log(std::move(log)),
      m_registry(u"settings%1.ini"_s.arg(number)),
      m_service({.clock = m_clock,
                 .registry = m_registry,
                 .session = m_session,
                 .modem = m_modem,
                 .sendLedgerFile = m_registry.fileName() + u".sends"_s,
                 .inHandFile = m_registry.fileName() + u".in-hand"_s,
                 .messageFiles = {m_registry.fileName() + u".received-spool"_s,
                                  m_registry.fileName() + u".obeyed-codes"_s},
                 .metricsFile = m_registry.fileName() + u".metrics"_s},
                *this, m_boxes)
{
    if (story.servers > 1)
        locks.lendTo(m_session.Conn());
    if (disk().find(m_registry.fileName().toUtf8()) == nullptr)
        writeSettings(number, story);
    m_modem.setUnreadableFile(m_registry.fileName() + u".unreadable"_s);
    m_service.startUnattended();
}

void Server::writeSettings(int number, const Story &story)
{
    set(u"ConnectString"_s, u"Provider=SQLite;Data Source="_s + OfficeDatabase::fileName());
    set(u"CenterCode"_s, u"+8613800755500"_s);
    set(u"ServerPort"_s, QString::number(number));
    set(u"TimeDelay"_s, QString::number(story.interval.count()));
    if (story.servers > 1)
        set(u"Servers"_s, u"several"_s);
    for (const QString &setting : story.settings)
        set(setting.section(u'=', 0, 0), setting.section(u'=', 1));
}

void Server::set(const QString &name, const QString &value)
{
    m_registry.write(Settings::pathOf(name), value);
}

/// What the dead say is not heard.
void Server::addLogLine(const QString &message)
{
    if (!Kill::isDead())
        m_log(QDateTime::currentDateTime().toString(u"yyyy-MM-dd HH:mm:ss.zzz "_s) + message);
}

bool Server::stopRequested() const
{
    return m_isStopRequested || Kill::isDead();
}
