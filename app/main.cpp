#include "SmsCommit.h"
#include "alerts/SkipOldMail.h"
#include "app/CommandLine.h"
#include "app/ModemCommands.h"
#include "app/SelfCheck.h"
#include "app/ServerRun.h"
#include "app/SettingsCommands.h"
#include "app/SingleInstance.h"
#include "app/Terminal.h"
#include "app/Trace.h"
#include "app/World.h"
#include "mailbox/CollectorProcess.h"
#include "platform/process/ProcessStart.h"
#include "platform/text/HarmlessText.h"

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
    print(stdout, u"已有的邮件不再提醒，共 %1 个用户\n"_s.arg(skipOldMail(session.Conn())));
    return 0;
}

int check(const CommandLine &line)
{
    World world(line, QCoreApplication::applicationFilePath());
    const auto show = [](const QString &text) { print(stdout, text + u'\n'); };
    show(u"参数文件 "_s + line.settingsFile);
    return checkEverything(world.parts, show, !line.tryModem && SingleInstance::isRunning(line.settingsFile))
               ? 0
               : 1;
}

int status(const CommandLine &line)
{
    const auto answer = SingleInstance::ask(line.settingsFile, "status");
    print(stdout, answer.value_or(u"没有短信服务器在用这份参数文件运行。\n"_s));
    return answer ? 0 : 1;
}

int explainMessage(const CommandLine &line, const Registry &registry)
{
    DatabaseSession session(registry);
    if (!session.OpenDB())
        throw Fault(session.openFailure());
    QString log = line.logFile;
    if (log.isEmpty())
        log = SingleInstance::ask(line.settingsFile, "log").value_or(QString()).trimmed();
    for (const QString &each : explain(session.Conn(), *line.explain, SystemClock().now(), log))
        print(stdout, harmlessText(each) + u'\n');
    if (line.explain->about == Question::About::Sent)
        return 0;
    print(stdout, u"短信服务器现在：\n"_s);
    static_cast<void>(status(line));
    return 0;
}

/// This process becomes another program of ours. Returns when that fails.
int become(const QString &place, char **argv)
{
    const QByteArray program = QFile::encodeName(QCoreApplication::applicationDirPath() + u'/' + place);
    ::execv(program.constData(), argv);
    throw Fault(u"无法启动 %1：%2"_s.arg(QFile::decodeName(program), qt_error_string()));
}

/// The demo's story leaves nothing behind.
int becomeDemo()
{
    QByteArray programs = QFile::encodeName(QCoreApplication::applicationDirPath());
    std::array argv{programs.data(), programs.data(), static_cast<char *>(nullptr)};
    return become(u"" SMS_DEMO_FOLDER "/demo.sh"_s, argv.data());
}

int runHeadless(const CommandLine &line)
{
    SingleInstance instance(line.settingsFile);
    if (!instance.isFirst()) {
        print(stderr, instance.callFirst());
        return 0;
    }
    World world(line, QCoreApplication::applicationFilePath());
    ConsoleSignals console(world.clock);
    LoggedMessageBoxes boxes(console);
    return ServerRun(line, instance, world.parts, console, boxes).exec();
}

/// The server with a window, whose libraries no other use of this program has to load.
int becomeWindow(const CommandLine &line, char **argv)
{
    if (line.headless)
        qputenv("QT_QPA_PLATFORM", "offscreen");
    return become(u"" SMS_WINDOW_PROGRAM ""_s, argv);
}

int run(const CommandLine &line, char **argv)
{
    if (!line.trace)
        dropRemarks();
    FileRegistry registry(line.settingsFile);
    if (!line.assignments.isEmpty()) {
        writeSettings(registry, line.assignments);
        return 0;
    }
    if (line.showSettings) {
        print(stdout, shownSettings(registry));
        return 0;
    }
    if (line.status)
        return status(line);
    if (line.explain)
        return explainMessage(line, registry);
    if (line.demo)
        return becomeDemo();
    if (line.skipOldMail)
        return skipOldMailForAll(registry);
    if (line.collectMail)
        return runCollector(registry, line.trace ? mailTrace() : MailTrace(),
                            registry.fileName() + u".kept-mail"_s);
    if (line.findModem)
        return findModem(registry, line.foundPort);
    if (!line.testNumber.isEmpty())
        return sendTest(line);
    if (line.check)
        return check(line);
    return line.wantsWindow() ? becomeWindow(line, argv) : runHeadless(line);
}

} // namespace

int main(int argc, char **argv)
{
    prepareProcess();
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"sms-server"_s);
    translateLibrary();
    const auto read = readCommandLine(argc, argv);
    if (const auto *wrong = std::get_if<WrongUsage>(&read)) {
        print(stderr, wrong->why + u"\n用 --help 查看说明\n"_s);
        return CommandLine::wrongUsage;
    }
    const auto *line = std::get_if<CommandLine>(&read);
    if (line->help || line->version) {
        print(stdout, line->help ? commandLineHelp() : u"sms-server " SMS_VERSION " (" SMS_COMMIT ")\n"_s);
        return 0;
    }
    return statusOf([&] { return run(*line, argv); });
}
