#include "app/ServerRun.h"

#include "app/Terminal.h"
#include "platform/text/HarmlessText.h"

#include <QCoreApplication>

using namespace Qt::StringLiterals;

ServerRun::ServerRun(const CommandLine &line, SingleInstance &instance, const ServerParts &parts,
                     ConsoleSignals &console, MessageBoxes &boxes)
    : m_line(line), m_instance(instance), m_parts(parts), m_console(console), m_service(parts, console, boxes)
{
    instance.setAnswers(
        [this](QByteArrayView question) { return question == "log" ? m_line.logFile + u'\n' : status(); });
    if (!line.logFile.isEmpty())
        m_logFile.emplace(line.logFile);
    writeLines();
    followSignals();
    tellManager();
    // exit() and not quit(): no close event, no other handler runs any more.
    connect(&m_service, &Service::ended, qApp, [] { QCoreApplication::exit(0); });
}

ServerRun::~ServerRun()
{
    m_instance.setAnswers({});
    m_console.setStopRequested({});
    m_parts.modem.setWhileWaiting({});
}

void ServerRun::writeLines()
{
    connect(&m_console, &ConsoleSignals::lineAdded, this, [this](const QString &told) {
        const QString line = harmlessText(told); // a terminal obeys what a stranger wrote
        if (m_line.headless)
            print(stderr, line + u'\n');
        const QString news = m_logFile ? m_logFile->append(line) : QString();
        if (!news.isEmpty())
            m_console.addLogLine(news);
    });
    if (!m_line.headless)
        return;
    connect(&m_service, &Service::startGivenUp, this, [this] {
        m_console.addLogLine(u"参数不完整，程序结束。请用 sms-server --set 写入参数，用 --check 检查"_s);
        QCoreApplication::exit(CommandLine::settingMissing);
    });
}

void ServerRun::followSignals()
{
    connect(&m_stopSignal, &StopSignal::received, &m_service, &Service::stop);
    connect(&m_hangupSignal, &HangupSignal::received, this, [this] {
        if (m_logFile)
            m_logFile->reopen();
    });
    m_console.setStopRequested([this] {
        showSignOfLife();
        return m_stopSignal.wasReceived();
    });
    m_parts.modem.setWhileWaiting([this] { showSignOfLife(); });
}

void ServerRun::showSignOfLife()
{
    m_supervisor.alive();
    emit busy();
}

/// How the server is, from the event loop and from inside long passes.
void ServerRun::tellManager()
{
    constexpr std::chrono::seconds pause{1};
    connect(&m_signsOfLife, &QTimer::timeout, this, [this] { m_supervisor.alive(); });
    m_signsOfLife.start(pause);
    connect(&m_console, &ConsoleSignals::panelChanged, this,
            [this](OperatorConsole::Panel panel, const QString &text) {
                if (panel == OperatorConsole::Status)
                    m_supervisor.status(text);
            });
    connect(&m_service, &Service::ended, this, [this] { m_supervisor.stopping(); });
}

QString ServerRun::status()
{
    const QString log = m_line.logFile.isEmpty() ? QString() : u"日志："_s + m_line.logFile + u'\n';
    return stateText(m_service.fullState(), m_parts.clock.now()) + log;
}

int ServerRun::exec()
{
    QMetaObject::invokeMethod(
        this, [this] { m_supervisor.ready(); }, Qt::QueuedConnection);
    if (m_line.start)
        QMetaObject::invokeMethod(&m_service, &Service::startUnattended, Qt::QueuedConnection);
    return QCoreApplication::exec();
}
