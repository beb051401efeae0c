#include "simulator/ControlServer.h"
#include "simulator/Options.h"
#include "simulator/StopSignals.h"
#include "simulator/controls/ControlCommands.h"
#include "simulator/line/pty/PseudoTerminal.h"
#include "simulator/line/tcp/NetworkEnd.h"

#include <QCoreApplication>
#include <QTime>
#include <cstdio>
#include <memory>

using namespace Qt::StringLiterals;
using namespace simulator;

namespace
{
void say(const QString &text)
{
    std::printf("%s %s\n", qPrintable(QTime::currentTime().toString(u"HH:mm:ss.zzz"_s)),
                text.toUtf8().constData());
    std::fflush(stdout);
}

/// Octets as a person reads them: control characters by name or number.
QByteArray readable(const QByteArray &octets)
{
    QByteArray text;
    for (const char c : octets) {
        if (c == '\r')
            text += "<CR>";
        else if (c == '\n')
            text += "<LF>";
        else if (c == 0x1a)
            text += "<Ctrl-Z>";
        else if (c == 0x1b)
            text += "<ESC>";
        else if (c < 0x20 || c > 0x7e)
            text += '<' + QByteArray(1, c).toHex() + '>';
        else
            text += c;
    }
    return text;
}

void trace(const char *direction, const QByteArray &octets)
{
    std::fprintf(stderr, "%s %s %s\n", qPrintable(QTime::currentTime().toString(u"HH:mm:ss.zzz"_s)),
                 direction, readable(octets).constData());
}

int runSimulator(const Options &options)
{
    std::unique_ptr<LineEnd> end;
    if (options.listen.isEmpty())
        end = std::make_unique<PseudoTerminal>(options.link);
    else
        end = std::make_unique<NetworkEnd>(options.listen);
    Modem modem(std::move(end), options.log);
    modem.state().say = say;
    if (options.trace) {
        QObject::connect(&modem.line(), &SerialLine::received,
                         [](const QByteArray &octets) { trace(">", octets); });
        QObject::connect(&modem.session(), &AtSession::send,
                         [](const QByteArray &octets) { trace("<", octets); });
    }
    ControlTable commands;
    addControls(commands, modem);
    commands.add(u"quit"_s, {}, u"end the simulator"_s, [](ControlWords &) { QCoreApplication::quit(); });
    const StopSignals stopSignals;
    QObject::connect(&stopSignals, &StopSignals::stopRequested, &QCoreApplication::quit);
    for (const QString &line : options.setUp) {
        const QString answer = commands.run(line);
        if (answer.startsWith(u"error")) {
            std::fprintf(stderr, "modem-simulator: %s: %s\n", qPrintable(line), qPrintable(answer));
            return 2;
        }
    }
    std::unique_ptr<ControlServer> control;
    if (!options.control.isEmpty()) {
        control = std::make_unique<ControlServer>(options.control, [&commands](const QString &line) {
            QString answer = commands.run(line);
            say(u"> %1 -> %2"_s.arg(line, answer.section(u'\n', -1)));
            return answer;
        });
    }
    modem.line().plug();
    return QCoreApplication::exec();
}
} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"modem-simulator"_s);
    QCoreApplication::setApplicationVersion(QString::fromLatin1(SIMULATOR_VERSION));
    const Options options = readOptions(QCoreApplication::arguments());
    try {
        return options.command ? runControlCommand(options.control, *options.command) : runSimulator(options);
    } catch (const std::runtime_error &error) {
        std::fprintf(stderr, "modem-simulator: %s\n", error.what());
        return 1;
    }
}
