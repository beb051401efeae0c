#include "app/DisplayWatch.h"
#include "app/ServerRun.h"
#include "app/SingleInstance.h"
#include "app/Terminal.h"
#include "app/World.h"
#include "console/WindowMessageBoxes.h"
#include "console/frmMain.h"
#include "platform/process/ProcessStart.h"

#include <QApplication>
#include <QScopeGuard>

using namespace Qt::StringLiterals;

// The server with its main window. sms-server, which read the same command line, has become this program.

namespace
{

std::unique_ptr<MessageBoxes> messageBoxes(const CommandLine &line, OperatorConsole &console)
{
    if (line.headless)
        return std::make_unique<LoggedMessageBoxes>(console);
    return std::make_unique<WindowMessageBoxes>();
}

int runWindow(const CommandLine &line)
{
    SingleInstance instance(line.settingsFile);
    if (!instance.isFirst()) {
        print(stderr, instance.callFirst());
        return 0;
    }
    translateLibrary();
    const QString program = QCoreApplication::applicationDirPath() + u"/" SMS_SERVER_PROGRAM ""_s;
    World world(line, program);
    ConsoleSignals console(world.clock);
    const std::unique_ptr<MessageBoxes> boxes = messageBoxes(line, console);
    ServerRun run(line, instance, world.parts, console, *boxes);
    frmMain window(world.parts, run.service(), console, *boxes);
    window.setStatus([&] { return run.status(); });
    window.setSelfCheck([&] {
        QStringList command{program, u"--check"_s, u"--settings"_s, line.settingsFile};
        if (!run.service().isRunning()) // else it has the modem
            command += u"--try-modem"_s;
        return command;
    });
    QObject::connect(&run, &ServerRun::busy, &window, &frmMain::paintNow);
    QObject::connect(&instance, &SingleInstance::startedAgain, &window, &frmMain::bringToFront);
    const auto forget = qScopeGuard([] { whenDisplayIsGone({}); });
    if (!line.headless) {
        whenDisplayIsGone([&] {
            console.addLogLine(u"与显示服务器的连接已断开，程序结束"_s);
            run.service().stop();
        });
    }
    if (!line.hidden)
        window.show();
    const int status = run.exec();
    if (const QString &picture = line.screenshotFile;
        !picture.isEmpty() && !window.grab().save(picture, "PNG"))
        throw Fault(u"无法保存窗口图片 %1"_s.arg(picture));
    return status;
}

} // namespace

int main(int argc, char **argv)
{
    prepareProcess();
    const auto read = readCommandLine(argc, argv);
    const auto *line = std::get_if<CommandLine>(&read);
    if (line == nullptr)
        return CommandLine::wrongUsage;
    if (line->headless && !line->trace)
        dropRemarks();
    const QApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"sms-server"_s);
    // The program ends by Stop, the menu or a signal, never because its last window was hidden.
    QGuiApplication::setQuitOnLastWindowClosed(false);
    return statusOf([&] { return runWindow(*line); });
}
