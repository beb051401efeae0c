#include "bench/Measure.h"
#include "bench/OutgoingBenches.h"
#include "bench/StartedServer.h"
#include "foundation/Settings.h"
#include "tests/support/Office.h"
#include "tests/support/SimulatorProcess.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QThread>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{

constexpr int idleSeconds = 60;

QByteArray procFile(qint64 processId, const QString &name)
{
    QFile file(u"/proc/%1/%2"_s.arg(processId).arg(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Processor seconds used so far: utime and stime of /proc/PID/stat.
double processorSeconds(qint64 processId)
{
    const QByteArray stat = procFile(processId, u"stat"_s);
    const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
    return (fields[11].toDouble() + fields[12].toDouble()) / double(sysconf(_SC_CLK_TCK));
}

double residentMegabytes(qint64 processId)
{
    const QByteArray status = procFile(processId, u"status"_s);
    const qsizetype at = status.indexOf("VmRSS:");
    return status.mid(at + 6).trimmed().split(' ').constFirst().toDouble() / 1024;
}

} // namespace

bool benchIdle()
{
    Office office;
    const SimulatorProcess simulator;
    office.configureModem(simulator.devicePath(), 10);
    const StartedServer server(office.registry.fileName());
    const double before = processorSeconds(server.processId());
    QThread::sleep(idleSeconds); // the time itself is what is measured
    const double share = (processorSeconds(server.processId()) - before) / idleSeconds * 100;
    const double memory = residentMegabytes(server.processId());
    const bool quiet = report(u"idle: processor share over 60 s, interval 10 s"_s, share, u"%"_s, share < 0.5,
                              u"below 0.5"_s);
    return report(u"idle: resident memory"_s, memory, u"MB"_s, memory < 100, u"below 100"_s) && quiet;
}
