#include "tests/simulation/Server.h"

#include "foundation/DatabaseSession.h"
#include "foundation/Settings.h"
#include "modem/ModemControl.h"
#include "platform/clock/Clock.h"
#include "platform/registry/FileRegistry.h"
#include "service/Service.h"
#include "tests/simulation/Kill.h"
#include "tests/simulation/MemoryDisk.h"
#include "tests/simulation/World.h"
#include "tests/support/LockTable.h"

#include <QMap>

using namespace Qt::StringLiterals;

namespace
{

/// The operator's console: the log with its times; what the dead say is not heard.
class Console final : public OperatorConsole
{
public:
    explicit Console(std::function<void(const QString &)> log) : m_log(std::move(log)) {}

    void addLogLine(const QString &message) override
    {
        if (!Kill::isDead())
            m_log(QDateTime::currentDateTime().toString(u"yyyy-MM-dd HH:mm:ss.zzz "_s) + message);
    }
    [[nodiscard]] QString panelText(Panel panel) const override { return m_panels.value(panel); }
    void setPanelText(Panel panel, const QString &text) override { m_panels[panel] = text; }
    void showActivity(const QString &) override {}
    [[nodiscard]] bool stopRequested() const override { return isStopRequested || Kill::isDead(); }

    bool isStopRequested = false;

private:
    std::function<void(const QString &)> m_log;
    QMap<Panel, QString> m_panels;
};

} // namespace

class Server::Parts
{
public:
    Parts(int number, const Story &story, LockTable &locks, std::function<void(const QString &)> log)
        : console(std::move(log)), registry(u"settings%1.ini"_s.arg(number))
    {
        if (story.servers > 1)
            locks.lendTo(session.Conn());
        if (MemoryDisk::instance().find(registry.fileName().toUtf8()) == nullptr)
            writeSettings(number, story);
        modem.setUnreadableFile(registry.fileName() + u".unreadable"_s);
        service.startUnattended();
    }

    void writeSettings(int number, const Story &story)
    {
        set(u"ConnectString"_s, u"Provider=SQLite;Data Source="_s + World::databaseFile());
        set(u"CenterCode"_s, u"+8613800755500"_s);
        set(u"ServerPort"_s, QString::number(number));
        set(u"TimeDelay"_s, QString::number(story.interval.count()));
        if (story.servers > 1)
            set(u"Servers"_s, u"several"_s);
        for (const QString &setting : story.settings)
            set(setting.section(u'=', 0, 0), setting.section(u'=', 1));
    }

    void set(const QString &name, const QString &value) { registry.write(Settings::pathOf(name), value); }

    Console console;
    FileRegistry registry;
    SystemClock clock;
    DatabaseSession session{registry};
    ModemControl modem{clock, [](int port) { return u"modem%1"_s.arg(port); }};
    LoggedMessageBoxes boxes{console};
    Service service{{.clock = clock,
                     .registry = registry,
                     .session = session,
                     .modem = modem,
                     .sendLedgerFile = registry.fileName() + u".sends"_s,
                     .inHandFile = registry.fileName() + u".in-hand"_s,
                     .messageFiles = {registry.fileName() + u".received-spool"_s,
                                      registry.fileName() + u".obeyed-codes"_s},
                     .metricsFile = registry.fileName() + u".metrics"_s},
                    console,
                    boxes};
};

Server::Server(int number, const Story &story, LockTable &locks, std::function<void(const QString &line)> log)
    : m_parts(std::make_unique<Parts>(number, story, locks, std::move(log)))
{
}

Server::~Server() = default;

void Server::requestStop()
{
    m_parts->console.isStopRequested = true;
}

void Server::stop()
{
    m_parts->service.stop();
}
