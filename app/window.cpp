#include "app/DisplayWatch.h"
#include "app/ServerRun.h"
#include "app/SingleInstance.h"
#include "app/Terminal.h"
#include "app/World.h"
#include "console/WindowMessageBoxes.h"
#include "console/frmMain.h"
#include "platform/process/ProcessStart.h"

#include <QApplication>
#include <QLibraryInfo>
#include <QTranslator>

using namespace Qt::StringLiterals;

// The server with its main window. sms-server, which read the same command line, has become this program.

namespace
{

/// The menus and dialogs of the windowing library, in the language of ours.
void translateLibrary(QTranslator &translator)
{
    if (translator.load(u"qtbase_zh_CN"_s, QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(&translator);
}

std::unique_ptr<MessageBoxes> messageBoxes(const CommandLine &line, OperatorConsole &console)
{
    if (line.headless)
        return std::make_unique<LoggedMessageBoxes>(console);
    return std::make_unique<WindowMessageBoxes>();
}

void savePicture(frmMain &window, const QString &fileName)
{
    if (!fileName.isEmpty() && !window.grab().save(fileName, "PNG"))
        throw Fault(u"无法保存窗口图片 %1"_s.arg(fileName));
}

int runWindow(const CommandLine &line)
{
    SingleInstance instance(line.settingsFile);
    if (!instance.isFirst()) {
        print(stderr, instance.callFirst());
        return 0;
    }
    if (line.headless && !line.trace)
        dropRemarks();
    QTranslator translator;
    translateLibrary(translator);
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
    std::optional<DisplayWatch> displayWatch;
    if (!line.headless) {
        displayWatch.emplace([&] {
            console.addLogLine(u"与显示服务器的连接已断开，程序结束"_s);
            run.service().stop();
        });
    }
    if (!line.hidden)
        window.show();
    const int status = run.exec();
    savePicture(window, line.screenshotFile);
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
    const QApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"sms-server"_s);
    // The program ends by Stop, the menu or a signal, never because its last window was hidden.
    QGuiApplication::setQuitOnLastWindowClosed(false);
    return statusOf([&] { return runWindow(*line); });
}
