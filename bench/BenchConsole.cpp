// bench-console: what the operator's window costs. Prints, measured in one run: from the program's start to
// its shown window, memory once it is shown, and one log line at 100, 10,000 and 100,000 lines, painted and
// not.
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

double median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + std::ptrdiff_t(values.size() / 2), values.end());
    return values[values.size() / 2];
}

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
                      {u"--headless"_s, u"--start"_s, u"--settings"_s, folder.filePath(u"settings.ini"_s)});
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

/// Microseconds for one more line, shown or hidden, in a log of so many lines.
double lineCost(LogBox &log, int lines)
{
    while (log.document()->blockCount() <= lines)
        log.prependLine(logLine(lines));
    std::vector<double> microseconds;
    for (int i = 0; i < measuredLines; ++i) {
        QElapsedTimer timer;
        timer.start();
        log.prependLine(logLine(i));
        microseconds.push_back(double(timer.nsecsElapsed()) / 1e3);
    }
    return median(microseconds);
}

bool measureLog(bool painted)
{
    LogBox log;
    log.resize(575, 460);
    if (painted) {
        log.show();
        if (!QTest::qWaitForWindowExposed(&log))
            return report(u"the log box is shown"_s, 0, {}, false, u"needed"_s);
    }
    const QString kind = painted ? u"painted"_s : u"hidden"_s;
    std::vector<double> costs;
    for (const int lines : {100, 10000, 100000}) {
        costs.push_back(lineCost(log, lines));
        report(u"one log line at %1 lines, %2"_s.arg(lines).arg(kind), costs.back(), u"us"_s, true, u"-"_s);
    }
    const auto [least, most] = std::minmax_element(costs.begin(), costs.end());
    const double ratio = *most / *least;
    return report(u"dearest log line by cheapest, %1"_s.arg(kind), ratio, u"times"_s, ratio <= 2,
                  u"at most 2"_s);
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const bool start = measureStart(
        arguments.size() > 1 ? arguments[1] : QCoreApplication::applicationDirPath() + u"/sms-server"_s);
    const bool hidden = measureLog(false);
    const bool painted = measureLog(true);
    return start && hidden && painted ? 0 : 1;
}
