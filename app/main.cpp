#include "alerts/SkipOldMail.h"
#include "app/CommandLine.h"
#include "app/DisplayWatch.h"
#include "app/LogFile.h"
#include "app/SelfCheck.h"
#include "app/SettingsCommands.h"
#include "app/SingleInstance.h"
#include "app/Trace.h"
#include "console/frmMain.h"
#include "foundation/Settings.h"
#include "mailbox/CollectorProcess.h"
#include "modem/ModemControl.h"
#include "platform/registry/FileRegistry.h"
#include "platform/signals/HangupSignal.h"
#include "platform/signals/StopSignal.h"
#include "platform/supervision/Supervisor.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTimer>
#include <QTranslator>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace
{

void print(FILE *stream, const QString &text)
{
    std::fputs(text.toUtf8().constData(), stream);
    std::fflush(stream);
}

QString settingsFile(const CommandLine &line)
{
    if (!line.settingsFile.isEmpty())
        return line.settingsFile;
    if (QString named = qEnvironmentVariable("SMS_SERVER_SETTINGS"); !named.isEmpty())
        return named;
    return QStandardPaths::writableLocation(QStandardPaths::ConfigLocation) + u"/sms-server/settings.ini"_s;
}

/// The outside world, real.
struct World {
    explicit World(FileRegistry &settings) : registry(settings)
    {
        modem.setReference(static_cast<quint8>(QRandomGenerator::global()->generate()));
    }

    FileRegistry &registry;
    SystemClock clock;
    DatabaseSession session{registry};
    ModemControl modem{clock,
                       [this](int comPort) { return registry.read(Settings::comDevicePath(comPort)); }};

    MailTrace mail;
    Collector::Program collector;
    QString metricsFile;

    [[nodiscard]] ServerParts parts()
    {
        const MessageFiles received{registry.fileName() + u".received-spool"_s,
                                    registry.fileName() + u".obeyed-codes"_s};
        const QString sends = registry.fileName() + u".sends"_s;
        return {clock, registry, session, modem, mail, collector, sends, received, metricsFile};
    }
};

/// The menus and dialogs of the windowing library, in the language of ours.
void translateLibrary(QTranslator &translator)
{
    if (translator.load(u"qtbase_zh_CN"_s, QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(&translator);
}

/// Tells the service manager how the server is, from the event loop and from inside long passes.
void supervise(Supervisor &supervisor, frmMain &window, StopSignal &stopSignal, ModemControl &modem)
{
    constexpr int signMs = 1000;
    auto *signs = new QTimer(&window);
    QObject::connect(signs, &QTimer::timeout, &window, [&supervisor] { supervisor.alive(); });
    signs->start(signMs);
    window.setStopRequested([&] {
        supervisor.alive();
        return stopSignal.wasReceived();
    });
    modem.setWhileWaiting([&] {
        supervisor.alive();
        window.paintNow();
    });
    QObject::connect(&window, &frmMain::statusChanged, &window,
                     [&supervisor](const QString &text) { supervisor.status(text); });
    QTimer::singleShot(0, &window, [&supervisor] { supervisor.ready(); });
    QObject::connect(&window, &frmMain::ended, &window, [&supervisor] { supervisor.stopping(); });
}

int runWindow(const CommandLine &line, World &world)
{
    const SingleInstance instance(world.registry.fileName());
    if (!instance.isFirst()) {
        print(stderr, instance.callFirst() ? u"短信服务器已在运行，已请它显示窗口。\n"_s
                                           : u"短信服务器已在运行。\n"_s);
        return 0;
    }
    StopSignal stopSignal;
    std::optional<LogFile> logFile;
    if (!line.logFile.isEmpty())
        logFile.emplace(line.logFile);

    const QFileInfo beside(line.logFile.isEmpty() ? world.registry.fileName() : line.logFile);
    world.modem.setUnreadableFile(beside.absoluteDir().filePath(u"unreadable-sms.log"_s));
    const HangupSignal hangupSignal;
    QTranslator translator;
    translateLibrary(translator);

    Supervisor supervisor;
    frmMain window(world.parts());
    supervise(supervisor, window, stopSignal, world.modem);
    const auto forgetWindow = qScopeGuard([&world] { world.modem.setWhileWaiting({}); });
    window.setSelfCheck([&window, &world] {
        QStringList answer;
        static_cast<void>(checkEverything(
            world.parts(), [&answer](const QString &text) { answer += text; }, window.isRunning()));
        return answer.join(u'\n');
    });
    QObject::connect(&window, &frmMain::logLineAdded, &window, [&](const QString &logLine) {
        const QString news = logFile ? logFile->append(logLine) : QString();
        if (line.headless)
            print(stderr, logLine + u'\n');
        if (!news.isEmpty())
            window.addLogLine(news);
    });
    std::optional<DisplayWatch> displayWatch;
    if (line.headless) {
        window.setMessageBoxes(std::make_unique<LoggedMessageBoxes>(window));
        QObject::connect(&window, &frmMain::startGivenUp, &window, [&window] {
            window.addLogLine(u"参数不完整，程序结束。请用 sms-server --set 写入参数，用 --check 检查"_s);
            QCoreApplication::exit(CommandLine::settingMissing);
        });
    } else {
        displayWatch.emplace([&window] {
            window.addLogLine(u"与显示服务器的连接已断开，程序结束"_s);
            window.stopWithoutQuestion();
        });
    }
    QObject::connect(&hangupSignal, &HangupSignal::received, &window, [&logFile] {
        if (logFile)
            logFile->reopen();
    });
    QObject::connect(&stopSignal, &StopSignal::received, &window, &frmMain::stopWithoutQuestion);
    QObject::connect(&instance, &SingleInstance::startedAgain, &window, &frmMain::bringToFront);
    // exit() and not quit(): no close event, no other handler runs any more.
    QObject::connect(&window, &frmMain::ended, qApp, [] { QCoreApplication::exit(0); });

    if (!line.hidden)
        window.show();
    if (line.start)
        QMetaObject::invokeMethod(&window, &frmMain::startUnattended, Qt::QueuedConnection);
    const int status = QApplication::exec();
    if (!line.screenshotFile.isEmpty() && !window.grab().save(line.screenshotFile, "PNG"))
        throw Fault(u"无法保存窗口图片 %1"_s.arg(line.screenshotFile));
    return status;
}

void skipOldMailForAll(const Registry &registry)
{
    DatabaseSession session(registry);
    if (!session.OpenDB())
        throw Fault(session.openFailure());
    print(stdout, u"Old mail skipped for %1 users.\n"_s.arg(skipOldMail(session.Conn())));
}

int run(const CommandLine &line)
{
    FileRegistry registry(settingsFile(line));
    if (!line.assignments.isEmpty()) {
        writeSettings(registry, line.assignments);
        return 0;
    }
    if (line.showSettings) {
        print(stdout, shownSettings(registry));
        return 0;
    }
    if (line.skipOldMail) {
        skipOldMailForAll(registry);
        return 0;
    }
    World world(registry);
    if (line.trace) {
        world.modem.setTrace(traceModem);
        world.mail = mailTrace();
    }
    if (line.collectMail)
        return runCollector(registry, world.mail, registry.fileName() + u".kept-mail"_s);
    world.collector = {QCoreApplication::applicationFilePath(),
                       {u"--collect-mail"_s, u"--settings"_s, registry.fileName()}};
    if (line.trace)
        world.collector.arguments += u"--trace"_s;
    world.metricsFile = line.metricsFile;
    if (line.check) {
        const auto show = [](const QString &text) { print(stdout, text + u'\n'); };
        show(u"参数文件 "_s + registry.fileName());
        return checkEverything(world.parts(), show, SingleInstance::isRunning(registry.fileName())) ? 0 : 1;
    }
    return runWindow(line, world);
}

/// Without a desktop the libraries remark on its absence; that is no line for the log.
void dropRemarks(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (type == QtCriticalMsg || type == QtFatalMsg)
        print(stderr, message + u'\n');
}

QStringList arguments(int argc, char **argv)
{
    QStringList list;
    for (int i = 0; i < argc; ++i)
        list += QString::fromLocal8Bit(argv[i]);
    return list;
}

} // namespace

int main(int argc, char **argv)
{
    // Before the application object, which would want a display even for --help.
    const auto read = readCommandLine(arguments(argc, argv));
    if (const auto *wrong = std::get_if<WrongUsage>(&read)) {
        print(stderr, wrong->why + u"\nTry --help.\n"_s);
        return CommandLine::wrongUsage;
    }
    const auto *line = std::get_if<CommandLine>(&read);
    if (line->help || line->version) {
        const QCoreApplication application(argc, argv); // the help text asks for the program's name
        print(stdout, line->help ? commandLineHelp() : u"sms-server " SMS_VERSION " (" SMS_COMMIT ")\n"_s);
        return 0;
    }
    if (line->headless) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        if (!line->trace)
            qInstallMessageHandler(dropRemarks);
    }
    std::unique_ptr<QCoreApplication> application;
    if (line->wantsWindow())
        application = std::make_unique<QApplication>(argc, argv);
    else
        application = std::make_unique<QCoreApplication>(argc, argv);
    QCoreApplication::setApplicationName(u"sms-server"_s);
    QCoreApplication::setApplicationVersion(QStringLiteral(SMS_VERSION));
    // The program ends by Stop, the menu or a signal, never because its last window was hidden.
    QGuiApplication::setQuitOnLastWindowClosed(false);
    try {
        return run(*line);
    } catch (const Fault &fault) {
        print(stderr, fault.message() + u'\n');
        return 1;
    }
}
