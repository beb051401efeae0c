#include "bench/Measure.h"

#include <QElapsedTimer>
#include <QFile>
#include <algorithm>
#include <cstdio>

double secondsOf(const std::function<void()> &work)
{
    QElapsedTimer timer;
    timer.start();
    work();
    return double(timer.nsecsElapsed()) / 1e9;
}

qint64 peakMemory(Peak then)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        qFatal("no /proc");
    const QByteArray all = status.readAll();
    QFile reset(QStringLiteral("/proc/self/clear_refs"));
    if (then == Peak::SetBack && (!reset.open(QIODevice::WriteOnly) || reset.write("5") != 1))
        qFatal("the peak cannot be set back");
    return all.mid(all.indexOf("VmHWM:") + 6, 20).trimmed().split(' ').first().toLongLong() * 1024;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

Rivals bestOf(int runs, const std::function<double()> &ours, const std::function<double()> &bare)
{
    Rivals best{ours(), bare()};
    for (int run = 1; run < runs; ++run) {
        best.ours = qMin(best.ours, ours());
        best.bare = qMin(best.bare, bare());
    }
    return best;
}

bool report(const QString &what, double figure, const QString &unit, bool holds, const QString &limit)
{
    std::printf("%-64s %10.3f %-6s %s (%s)\n", what.toUtf8().constData(), figure, unit.toUtf8().constData(),
                holds ? "ok  " : "MISS", limit.toUtf8().constData());
    std::fflush(stdout);
    return holds;
}
