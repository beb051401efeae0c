#include "tests/support/SimulatorProcess.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace
{
struct Ended {
    int status;
    QString output;
};

/// Runs the program to its end.
Ended runProgram(const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QStringLiteral(SIMULATOR_PROGRAM), arguments);
    if (!process.waitForFinished())
        return {-1, u"does not end"_s};
    return {process.exitCode(), QString::fromUtf8(process.readAll())};
}

const QStringList withoutEcho{u"--do"_s, u"echo off"_s};
} // namespace

class SimulatorProgramTest : public QObject
{
    Q_OBJECT

private slots:
    void controlFromTheShell()
    {
        SimulatorProcess simulator(withoutEcho);
        const auto control = [&simulator](const QString &line) {
            return runProgram({u"--control"_s, simulator.controlPath(), u"--command"_s, line});
        };
        const Ended delivered = control(u"deliver +8613800138000 你好"_s);
        QCOMPARE(delivered.status, 0);
        QCOMPARE(delivered.output, u"ok 1 delivered\n"_s);
        const Ended listed = control(u"storage list"_s);
        QCOMPARE(listed.output, u"ok 1 messages\n  SM,1 REC UNREAD +8613800138000: 你好\n"_s);
        QVERIFY(control(u"help"_s).output.contains(u"  deliver-parts [OPTIONS] NUMBER ORDER TEXT\n"));
        const Ended refused = control(u"deliver"_s);
        QCOMPARE(refused.status, 1);
        QVERIFY(refused.output.startsWith(u"error "));
    }

    void leavesNothingBehind()
    {
        QTemporaryDir folder;
        const QString link = folder.filePath(u"modem"_s);
        const QString control = folder.filePath(u"control"_s);
        for (const int signal : {SIGTERM, SIGINT, 0}) {
            QProcess process;
            process.start(QStringLiteral(SIMULATOR_PROGRAM), {u"--link"_s, link, u"--control"_s, control});
            QTRY_VERIFY(QFile::exists(link));
            if (signal != 0)
                QCOMPARE(::kill(static_cast<pid_t>(process.processId()), signal), 0);
            else
                QCOMPARE(runProgram({u"--control"_s, control, u"--command"_s, u"quit"_s}).status, 0);
            QVERIFY(process.waitForFinished());
            QCOMPARE(process.exitStatus(), QProcess::NormalExit);
            QCOMPARE(process.exitCode(), 0);
            QVERIFY(!QFileInfo(link).isSymLink() && !QFile::exists(control));
        }
    }
};

QTEST_GUILESS_MAIN(SimulatorProgramTest)
#include "SimulatorProgramTest.moc"
