#include "app/World.h"

#include "app/Trace.h"
#include "foundation/Settings.h"

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

World::World(const CommandLine &line, const QString &collector)
    : registry(line.settingsFile),
      modem(clock, [this](int comPort) { return deviceOf(comPort); }),
      parts{
          .clock = clock,
          .registry = registry,
          .session = session,
          .modem = modem,
          .collector = {collector, {u"--collect-mail"_s, u"--settings"_s, line.settingsFile}},
          .sendLedgerFile = line.settingsFile + u".sends"_s,
          .inHandFile = line.settingsFile + u".in-hand"_s,
          .messageFiles = {line.settingsFile + u".received-spool"_s, line.settingsFile + u".obeyed-codes"_s},
          .metricsFile = line.metricsFile}
{
    for (const QString &file : {line.settingsFile, line.logFile, line.metricsFile}) {
        if (!file.isEmpty())
            parts.folders += QFileInfo(file).absolutePath();
    }
    parts.folders.removeDuplicates();
    const QFileInfo beside(line.logFile.isEmpty() ? line.settingsFile : line.logFile);
    modem.setUnreadableFile(beside.absoluteDir().filePath(u"unreadable-sms.log"_s));
    if (line.trace) {
        modem.setTrace(traceModem);
        parts.mailTrace = mailTrace();
        parts.collector.arguments += u"--trace"_s;
    }
}

QString World::deviceOf(int comPort)
{
    try {
        devices[comPort] = Settings::read(registry, u"COM%1"_s.arg(comPort)).plain;
    } catch (const Fault &) {
        // A modem that comes back does not wait for the settings.
    }
    return devices.value(comPort);
}
