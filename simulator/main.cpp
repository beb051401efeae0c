#include "platform/signals/StopSignal.h"
#include "simulator/ControlServer.h"
#include "simulator/controls/Controls.h"
#include "simulator/line/pty/PseudoTerminal.h"
#include "simulator/line/tcp/NetworkEnd.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <cstdio>

using namespace Qt::StringLiterals;
using namespace simulator;

namespace
{
constexpr auto description =
    "A GSM modem on a pseudo-terminal. Programs open the link as their serial port and talk AT commands to "
    "it\n"
    "(PDU mode); messages that they send are printed and logged, and messages to them are delivered\n"
    "through the control socket.\n"
    "\n"
    "  modem-simulator --link /tmp/modem --control /tmp/modem.control\n"
    "  modem-simulator --control /tmp/modem.control --command 'deliver +8613800138000 Hello'\n"
    "  modem-simulator --control /tmp/modem.control --command help";

QString timeNow()
{
    return QTime::currentTime().toString(u"HH:mm:ss.zzz"_s);
}

void say(const QString &text)
{
    std::printf("%s %s\n", qPrintable(timeNow()), qUtf8Printable(text));
    std::fflush(stdout);
}

/// Octets as a person reads them: control characters by name or number.
void trace(const char *direction, const QByteArray &octets)
{
    QByteArray text;
    for (const char c : octets) {
        if (c < 0x20 || c > 0x7e)
            text += c == '\r' ? "<CR>" : c == '\n' ? "<LF>" : '<' + QByteArray(1, c).toHex() + '>';
        else
            text += c;
    }
    std::fprintf(stderr, "%s %s %s\n", qPrintable(timeNow()), direction, text.constData());
}

[[noreturn]] void fail(const QString &text)
{
    throw std::runtime_error(text.toStdString());
}

void open(QFile &file, QIODevice::OpenMode mode)
{
    if (!file.open(mode))
        fail(u"cannot open %1: %2"_s.arg(file.fileName(), file.errorString()));
}

/// The commands of a profile; blank lines and lines that begin with "#" say nothing.
QStringList readProfile(const QString &path)
{
    QFile file(path);
    open(file, QIODevice::ReadOnly);
    QStringList commands = QString::fromUtf8(file.readAll()).split(u'\n');
    commands.removeIf([](const QString &line) { return line.trimmed().isEmpty() || line.startsWith(u'#'); });
    return commands;
}

/// One line of the log: time (ISO 8601), number, text, reference (of the concatenation; 0 when single), part, parts,
/// tpdu (hexadecimal), and refused with the +CMS ERROR code, 0 when it was a bare OK.
QByteArray logLine(const SubmitRecord &record)
{
    const Concatenation part = record.tpdu.concatenation.value_or(Concatenation{});
    const QDateTime now = QDateTime::currentDateTime();
    QJsonObject object{{u"time"_s, now.toOffsetFromUtc(now.offsetFromUtc()).toString(Qt::ISODateWithMs)},
                       {u"number"_s, record.tpdu.number},
                       {u"text"_s, record.tpdu.text},
                       {u"reference"_s, part.reference},
                       {u"part"_s, part.sequence},
                       {u"parts"_s, part.total},
                       {u"tpdu"_s, QString::fromLatin1(record.pdu.toHex().toUpper())}};
    if (record.refused)
        object.insert(u"refused"_s, *record.refused);
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

std::unique_ptr<LineEnd> lineEnd(const QString &link, const QString &place)
{
    if (link.isEmpty() == place.isEmpty())
        fail(u"either --link or --listen is needed; --help tells more"_s);
    if (place.isEmpty())
        return std::make_unique<PseudoTerminal>(link);
    return std::make_unique<NetworkEnd>(place);
}

int runSimulator(const QCommandLineParser &options)
{
    if (!options.positionalArguments().isEmpty())
        fail(u"\"%1\" is no option; --help lists them"_s.arg(options.positionalArguments().constFirst()));
    std::unique_ptr<LineEnd> end = lineEnd(options.value(u"link"_s), options.value(u"listen"_s));
    if (options.isSet(u"trace"_s))
        QObject::connect(end.get(), &LineEnd::received, [](const QByteArray &octets) { trace(">", octets); });
    Modem modem(std::move(end));
    modem.state().say = say;
    if (options.isSet(u"trace"_s))
        QObject::connect(&modem.session(), &AtSession::send,
                         [](const QByteArray &octets) { trace("<", octets); });
    QFile log(options.value(u"log"_s));
    if (options.isSet(u"log"_s)) {
        open(log, QIODevice::Append);
        modem.network().setListener([&log](const SubmitRecord &record) {
            log.write(logLine(record));
            log.flush();
        });
    }
    const StopSignal stop;
    QObject::connect(&stop, &StopSignal::received, &QCoreApplication::quit);
    QStringList setUp =
        options.isSet(u"profile"_s) ? readProfile(options.value(u"profile"_s)) : QStringList();
    setUp += options.values(u"do"_s);
    for (const QString &line : std::as_const(setUp)) {
        if (const QString answer = runControl(modem, line); answer.startsWith(u"error"))
            fail(line + u": "_s + answer);
    }
    std::unique_ptr<ControlServer> control;
    if (options.isSet(u"control"_s)) {
        control = std::make_unique<ControlServer>(options.value(u"control"_s), [&](const QString &line) {
            const QString answer = runControl(modem, line);
            say(u"> %1 -> %2"_s.arg(line.trimmed(), answer.section(u'\n', 0, 0)));
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
    QCoreApplication::setApplicationVersion(QStringLiteral(SIMULATOR_VERSION));
    QCommandLineParser options;
    options.setApplicationDescription(QString::fromLatin1(description));
    options.addHelpOption();
    options.addVersionOption();
    options.addOptions({
        {u"link"_s, u"Where the link to the pseudo-terminal goes."_s, u"path"_s},
        {u"listen"_s, u"A line over the network instead, as a raw serial server."_s, u"[address:]port"_s},
        {u"control"_s, u"Socket for control commands."_s, u"socket"_s},
        {u"command"_s, u"Send one control command to the simulator at --control, print its answer, end."_s,
         u"line"_s},
        {u"log"_s, u"Append each submitted TPDU to this file, decoded, as a JSON line."_s, u"file"_s},
        {u"trace"_s, u"Show the octets on the line on standard error."_s},
        {u"profile"_s, u"A file of control commands, one a line, that make a certain modem of this one."_s,
         u"file"_s},
        {u"do"_s, u"A control command to run at the start; may be given again."_s, u"line"_s},
    });
    options.process(application);
    try {
        return options.isSet(u"command"_s)
                   ? runControlCommand(options.value(u"control"_s), options.value(u"command"_s))
                   : runSimulator(options);
    } catch (const std::runtime_error &error) {
        std::fprintf(stderr, "modem-simulator: %s\n", error.what());
        return 1;
    }
}
