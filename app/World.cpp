#include "app/World.h"

#include "app/Programs.h"
#include "app/Trace.h"
#include "foundation/Settings.h"

#include <QDir>
#include <QFileInfo>
#include <QRandomGenerator>

using namespace Qt::StringLiterals;

World::World(const CommandLine &wanted)
    : line(wanted),
      registry(line.settingsFile),
      modem(clock, [this](int comPort) { return registry.read(Settings::comDevicePath(comPort)); })
{
    const QFileInfo beside(line.logFile.isEmpty() ? registry.fileName() : line.logFile);
    modem.setUnreadableFile(beside.absoluteDir().filePath(u"unreadable-sms.log"_s));
    modem.setReference(static_cast<quint8>(QRandomGenerator::global()->generate()));
    if (line.trace)
        modem.setTrace(traceModem);
}

ServerParts World::parts()
{
    const QString name = registry.fileName();
    Collector::Program collector{serverProgram(), {u"--collect-mail"_s, u"--settings"_s, name}};
    if (line.trace)
        collector.arguments += u"--trace"_s;
    return {.clock = clock,
            .registry = registry,
            .session = session,
            .modem = modem,
            .mailTrace = line.trace ? mailTrace() : MailTrace(),
            .collector = collector,
            .sendLedgerFile = name + u".sends"_s,
            .messageFiles = {name + u".received-spool"_s, name + u".obeyed-codes"_s},
            .metricsFile = line.metricsFile};
}
