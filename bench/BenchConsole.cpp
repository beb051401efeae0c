// bench-console: what the operator's window costs. Prints, measured in one run: from the program's start to
// its shown window, memory once it is shown, one log line at 100, 10,000, 100,000 and 1,000,000 lines,
// painted and not, and the memory of a million lines.
//   bench-console [PATH_OF_SMS_SERVER]

#include "bench/Measure.h"
#include "console/LogBox.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

constexpr int repeatedStarts = 5;
constexpr int measuredLines = 200;

double residentMegabytes(qint64 process)
{
    QFile status(u"/proc/%1/status"_s.arg(process));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    static const QRegularExpression resident(u"VmRSS:\\s+(\\d+) kB"_s);
    return resident.match(QString::fromUtf8(status.readAll())).captured(1).toDouble() / 1024;
}

/// The first log line comes right after the window is shown.
bool measureStart(const QString &server)
{
    std::vector<double> milliseconds;
    std::vector<double> megabytes;
    for (int start = 0; start < repeatedStarts; ++start) {
        const QTemporaryDir folder;
        QProcess process;
        process.setReadChannel(QProcess::StandardError);
        QElapsedTimer timer;
        timer.start();
        process.start(server,
                      {u"--headless"_s, u"--start"_s, u"--settings"_s, folder.filePath(u"settings.ini"_s),
                       u"--screenshot"_s, folder.filePath(u"end.png"_s)});
        QByteArray said;
        while (!said.contains("数据库") && process.waitForReadyRead(30000))
            said += process.readAllStandardError();
        milliseconds.push_back(double(timer.nsecsElapsed()) / 1e6);
        megabytes.push_back(residentMegabytes(process.processId()));
        process.terminate();
        process.waitForFinished();
    }
    const double start = median(milliseconds);
    const double memory = median(megabytes);
    const bool quick = report(u"start to shown window"_s, start, u"ms"_s, start < 1000, u"below 1000"_s);
    return report(u"resident memory after start"_s, memory, u"MB"_s, memory > 0 && memory < 100,
                  u"below 100"_s) &&
           quick;
}

QString logLine(int number)
{
    return u"2006-03-05 07:08:09 手机号码：1380013%1短信发送失败."_s.arg(number, 4, 10, QChar(u'0'));
}

/// Microseconds for one more line.
double lineCost(LogBox &log)
{
    std::vector<double> microseconds;
    for (int i = 0; i < measuredLines; ++i) {
        QElapsedTimer timer;
        timer.start();
        log.prependLine(logLine(i));
        microseconds.push_back(double(timer.nsecsElapsed()) / 1e3);
    }
    return median(microseconds);
}

bool reportRatio(const QString &kind, const std::vector<double> &costs)
{
    const auto [least, most] = std::minmax_element(costs.begin(), costs.end());
    return report(u"dearest log line by cheapest, %1"_s.arg(kind), *most / *least, u"times"_s,
                  *most <= 2 * *least, u"at most 2"_s);
}

/// A box grows while it is hidden, which is quicker, and is then measured hidden and on the screen.
bool measureLog()
{
    std::vector<double> hidden;
    std::vector<double> painted;
    double memory = 0;
    for (const int lines : {100, 10000, 100000, 1000000}) {
        LogBox log;
        log.resize(575, 460);
        while (log.document()->blockCount() <= lines)
            log.prependLine(logLine(lines));
        hidden.push_back(lineCost(log));
        log.show();
        if (!QTest::qWaitForWindowExposed(&log))
            return report(u"the log box is shown"_s, 0, {}, false, u"needed"_s);
        painted.push_back(lineCost(log));
        memory = residentMegabytes(QCoreApplication::applicationPid());
        report(u"one log line at %1 lines, hidden"_s.arg(lines), hidden.back(), u"us"_s, true, u"-"_s);
        report(u"one log line at %1 lines, painted"_s.arg(lines), painted.back(), u"us"_s, true, u"-"_s);
    }
    const bool small = report(u"resident memory with a million lines"_s, memory, u"MB"_s,
                              memory > 0 && memory < 600, u"below 600"_s);
    const bool evenHidden = reportRatio(u"hidden"_s, hidden);
    return reportRatio(u"painted"_s, painted) && evenHidden && small;
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const bool start = measureStart(
        arguments.size() > 1 ? arguments[1] : QCoreApplication::applicationDirPath() + u"/sms-server"_s);
    const bool log = measureLog();
    return start && log ? 0 : 1;
}
