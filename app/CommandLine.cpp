#include "app/CommandLine.h"

#include "foundation/Settings.h"

#include <QCommandLineParser>
#include <QFileInfo>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace
{

constexpr QLatin1String collectMailOption("collect-mail");

void describe(QCommandLineParser &parser)
{
    QCommandLineOption collectMail(collectMailOption);
    collectMail.setFlags(QCommandLineOption::HiddenFromHelp); // the server starts itself so
    parser.addOption(collectMail);
    parser.setApplicationDescription(
        u"Short-message server of the office system: sends, receives and archives SMS through a GSM modem.\n"
        "Without options it opens its window and waits for the operator."_s);
    parser.addOptions({
        {{u"h"_s, u"help"_s}, u"Show this help."_s},
        {{u"v"_s, u"version"_s}, u"Show the version."_s},
        {u"start"_s, u"Press Start once the window is up."_s},
        {u"hidden"_s, u"Do not show the window at first."_s},
        {u"headless"_s,
         u"Run without a display; log lines go to standard error too, message boxes become log lines."_s},
        {u"settings"_s,
         u"Use this settings file (else $SMS_SERVER_SETTINGS, else the user's configuration folder)."_s,
         u"FILE"_s},
        {u"set"_s,
         u"Check and write a setting, and exit; may be repeated. ConnectString=- reads the value from "
         u"standard "
         "input. Names: %1. COMn is the device behind COM port n."_s.arg(
             Settings::shortNames().join(u", "_s)),
         u"NAME=VALUE"_s},
        {u"show-settings"_s, u"Print the settings, passwords masked, and exit."_s},
        {u"skip-old-mail"_s,
         u"Before the first start: alert no user about mail that is already there, and exit."_s},
        {u"check"_s,
         u"Try the database, the modem and the mail accounts, say what is wrong and what to do, change "
         "nothing, and exit: 0 all well, 1 not."_s},
        {u"log-file"_s, u"Append every log line to this file."_s, u"FILE"_s},
        {u"metrics"_s,
         u"Keep the figures for a monitoring system in this file (Prometheus text format), after each pass."_s,
         u"FILE"_s},
        {u"trace"_s, u"Show the modem's traffic on standard error."_s},
        {u"screenshot"_s, u"Save a picture (PNG) of the main window at the end."_s, u"FILE"_s},
    });
}

/// The working folder may go while the server runs.
QString absolute(const QString &file)
{
    return file.isEmpty() ? file : QFileInfo(file).absoluteFilePath();
}

QString settingsFile(const QString &named)
{
    if (!named.isEmpty())
        return absolute(named);
    if (const QString file = qEnvironmentVariable("SMS_SERVER_SETTINGS"); !file.isEmpty())
        return absolute(file);
    return QStandardPaths::writableLocation(QStandardPaths::ConfigLocation) + u"/sms-server/settings.ini"_s;
}

} // namespace

std::variant<CommandLine, WrongUsage> readCommandLine(int argc, char **argv)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments += QString::fromLocal8Bit(argv[i]);
    QCommandLineParser parser;
    describe(parser);
    if (!parser.parse(arguments))
        return WrongUsage{parser.errorText()};
    if (!parser.positionalArguments().isEmpty())
        return WrongUsage{u"Unexpected argument '%1'."_s.arg(parser.positionalArguments().constFirst())};
    CommandLine line;
    line.help = parser.isSet(u"help"_s);
    line.version = parser.isSet(u"version"_s);
    line.start = parser.isSet(u"start"_s);
    line.hidden = parser.isSet(u"hidden"_s);
    line.headless = parser.isSet(u"headless"_s);
    line.trace = parser.isSet(u"trace"_s);
    line.collectMail = parser.isSet(collectMailOption);
    line.check = parser.isSet(u"check"_s);
    line.showSettings = parser.isSet(u"show-settings"_s);
    line.skipOldMail = parser.isSet(u"skip-old-mail"_s);
    line.settingsFile = settingsFile(parser.value(u"settings"_s));
    line.logFile = absolute(parser.value(u"log-file"_s));
    line.metricsFile = absolute(parser.value(u"metrics"_s));
    line.screenshotFile = parser.value(u"screenshot"_s);
    const QStringList assignments = parser.values(u"set"_s);
    for (const QString &assignment : assignments) {
        const qsizetype equals = assignment.indexOf(u'=');
        const QString name = assignment.left(equals);
        if (equals <= 0 || Settings::pathOf(name).isEmpty())
            return WrongUsage{
                u"--set wants NAME=VALUE with one of the names that --help lists, not '%1'."_s.arg(name)};
        line.assignments.append({name, assignment.mid(equals + 1)});
    }
    return line;
}

QString commandLineHelp()
{
    QCommandLineParser parser;
    describe(parser);
    return parser.helpText();
}
