#include "simulator/Options.h"

#include <QCommandLineParser>
#include <QFile>
#include <cstdio>
#include <cstdlib>

using namespace Qt::StringLiterals;

namespace simulator
{
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

[[noreturn]] void refuse(const QString &text)
{
    std::fprintf(stderr, "modem-simulator: %s\n", qPrintable(text));
    std::exit(2);
}

/// The commands of a profile; blank lines and lines that begin with "#" say nothing.
QStringList readProfile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        refuse(u"cannot read the profile %1: %2"_s.arg(path, file.errorString()));
    QStringList commands;
    for (const QString &line : QString::fromUtf8(file.readAll()).split(u'\n')) {
        const QString command = line.trimmed();
        if (!command.isEmpty() && !command.startsWith(u'#'))
            commands.append(command);
    }
    return commands;
}
} // namespace

Options readOptions(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QString::fromLatin1(description));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOptions({
        {u"link"_s, u"Where the link to the pseudo-terminal goes."_s, u"path"_s},
        {u"listen"_s, u"A line over the network instead, as a raw serial server."_s, u"[address:]port"_s},
        {u"control"_s, u"Socket for control commands."_s, u"socket"_s},
        {u"command"_s, u"Send one control command to the simulator at --control, print its answer, end."_s,
         u"line"_s},
        {u"log"_s, u"Append each submitted TPDU to this file, decoded, as a JSON line."_s, u"file"_s},
        {u"trace"_s, u"Show the octets on the line on standard error."_s},
        {u"latency"_s, u"Network time from a TPDU to its result (default 0)."_s, u"ms"_s},
        {u"storage"_s, u"Places for messages in SM and in ME (default 50)."_s, u"places"_s},
        {u"no-registration"_s, u"No network at first."_s},
        {u"pin"_s, u"The SIM wants a PIN."_s},
        {u"echo"_s, u"Whether commands are echoed after a start (default on)."_s, u"on|off"_s},
        {u"profile"_s, u"A file of control commands, one a line, that make a certain modem of this one."_s,
         u"file"_s},
        {u"do"_s, u"A control command to run at the start; may be given again."_s, u"line"_s},
    });
    if (!parser.parse(arguments))
        refuse(parser.errorText());
    if (parser.isSet(u"version"_s))
        parser.showVersion();
    if (parser.isSet(u"help"_s))
        parser.showHelp();
    if (!parser.positionalArguments().isEmpty())
        refuse(u"\"%1\" is no option; --help lists them"_s.arg(parser.positionalArguments().constFirst()));

    Options options;
    options.link = parser.value(u"link"_s);
    options.listen = parser.value(u"listen"_s);
    options.control = parser.value(u"control"_s);
    if (parser.isSet(u"command"_s))
        options.command = parser.value(u"command"_s);
    options.log = parser.value(u"log"_s);
    options.trace = parser.isSet(u"trace"_s);
    if (parser.isSet(u"storage"_s))
        options.setUp += u"storage-size "_s + parser.value(u"storage"_s);
    if (parser.isSet(u"profile"_s))
        options.setUp += readProfile(parser.value(u"profile"_s));
    for (const QString &name : {u"latency"_s, u"echo"_s}) {
        if (parser.isSet(name))
            options.setUp += name + u' ' + parser.value(name);
    }
    if (parser.isSet(u"no-registration"_s))
        options.setUp += u"registered 0"_s;
    if (parser.isSet(u"pin"_s))
        options.setUp += u"pin required"_s;
    options.setUp += parser.values(u"do"_s);
    if (options.command && options.control.isEmpty())
        refuse(u"--command needs --control"_s);
    if (!options.command && options.link.isEmpty() == options.listen.isEmpty())
        refuse(u"either --link or --listen is needed; --help tells more"_s);
    return options;
}
} // namespace simulator
