#include "SmsCommit.h"
#include "alerts/SkipOldMail.h"
#include "app/CommandLine.h"
#include "app/SelfCheck.h"
#include "app/ServerRun.h"
#include "app/SettingsCommands.h"
#include "app/SingleInstance.h"
#include "app/Terminal.h"
#include "app/Trace.h"
#include "app/World.h"
#include "mailbox/CollectorProcess.h"
#include "platform/process/ProcessStart.h"

#include <QCoreApplication>
#include <QFile>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

int skipOldMailForAll(const Registry &registry)
{
    DatabaseSession session(registry);
    if (!session.OpenDB())
        throw Fault(session.openFailure());
    print(stdout, u"Old mail skipped for %1 users.\n"_s.arg(skipOldMail(session.Conn())));
    return 0;
}

int check(const CommandLine &line)
{
    World world(line, QCoreApplication::applicationFilePath());
    const auto show = [](const QString &text) { print(stdout, text + u'\n'); };
    show(u"参数文件 "_s + line.settingsFile);
    return checkEverything(world.parts, show, SingleInstance::isRunning(line.settingsFile)) ? 0 : 1;
}

int runHeadless(const CommandLine &line)
{
    const SingleInstance instance(line.settingsFile);
    if (!instance.isFirst()) {
        print(stderr, instance.callFirst());
        return 0;
    }
    if (!line.trace)
        dropRemarks();
    World world(line, QCoreApplication::applicationFilePath());
    ConsoleSignals console(world.clock);
    LoggedMessageBoxes boxes(console);
    ServerRun run(line, world.parts, console, boxes);
    return run.exec();
}

/// This process becomes the server with a window, whose libraries no other use of this program has to load.
/// Returns when that fails.
int becomeWindow(const CommandLine &line, char **argv)
{
    if (line.headless)
        qputenv("QT_QPA_PLATFORM", "offscreen");
    const QString window = QCoreApplication::applicationDirPath() + u"/" SMS_WINDOW_PROGRAM ""_s;
    ::execv(QFile::encodeName(window).constData(), argv);
    throw Fault(u"无法启动窗口程序 %1：%2"_s.arg(window, qt_error_string()));
}

int run(const CommandLine &line, char **argv)
{
    FileRegistry registry(line.settingsFile);
    if (!line.assignments.isEmpty()) {
        writeSettings(registry, line.assignments);
        return 0;
    }
    if (line.showSettings) {
        print(stdout, shownSettings(registry));
        return 0;
    }
    if (line.skipOldMail)
        return skipOldMailForAll(registry);
    if (line.collectMail)
        return runCollector(registry, line.trace ? mailTrace() : MailTrace(),
                            registry.fileName() + u".kept-mail"_s);
    if (line.check)
        return check(line);
    return line.wantsWindow() ? becomeWindow(line, argv) : runHeadless(line);
}

} // namespace

int main(int argc, char **argv)
{
    prepareProcess();
    const auto read = readCommandLine(argc, argv);
    if (const auto *wrong = std::get_if<WrongUsage>(&read)) {
        print(stderr, wrong->why + u"\nTry --help.\n"_s);
        return CommandLine::wrongUsage;
    }
    const QCoreApplication application(argc, argv); // the help text asks for the program's name
    QCoreApplication::setApplicationName(u"sms-server"_s);
    const auto *line = std::get_if<CommandLine>(&read);
    if (line->help || line->version) {
        print(stdout, line->help ? commandLineHelp() : u"sms-server " SMS_VERSION " (" SMS_COMMIT ")\n"_s);
        return 0;
    }
    return statusOf([&] { return run(*line, argv); });
}
