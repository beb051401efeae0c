#include "tests/simulator/SerialPeer.h"
#include "tests/support/SimulatorProcess.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>
#include <stdexcept>
#include <sys/ioctl.h>
#include <termios.h>

using namespace Qt::StringLiterals;

namespace
{
const QByteArray okLine = "\r\nOK\r\n";

QByteArray ask(SerialPeer &peer, const QByteArray &line, qsizetype answerSize)
{
    peer.write(line + '\r');
    return peer.read(answerSize);
}

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

const QStringList withoutEcho{u"--echo"_s, u"off"_s};
} // namespace

class SimulatorLineTest : public QObject
{
    Q_OBJECT

private slots:
    void rawAndEightBitClean()
    {
        SimulatorProcess simulator; // echo on: the line gives back what it took
        SerialPeer peer(simulator.devicePath());
        QByteArray all;
        for (int value = 1; value < 256; ++value) {
            if (value != '\n' && value != '\r' && value != '\b')
                all += static_cast<char>(value);
        }
        peer.write(all);
        QCOMPARE(peer.read(all.size()), all);
    }

    void unreadAnswersGoWithTheProgramThatLeft()
    {
        SimulatorProcess simulator(withoutEcho);
        {
            SerialPeer leaver(simulator.devicePath());
            leaver.write("AT+CGMI\rAT+CGMM\rAT+CMGF=1\r");
            QTRY_VERIFY(simulator.command(u"status"_s).contains(u"port=open"_s));
            int waiting = 0;
            QTRY_VERIFY(::ioctl(leaver.descriptor(), FIONREAD, &waiting) == 0 && waiting > 60);
        }
        QTRY_VERIFY(simulator.command(u"status"_s).contains(u"port=closed"_s));
        SerialPeer peer(simulator.devicePath());
        QCOMPARE(ask(peer, "AT+CMGF?", 18), "\r\n+CMGF: 1\r\n" + okLine);
    }

    void exclusiveUseEndsWithTheProgram()
    {
        SimulatorProcess simulator(withoutEcho);
        int exclusive = 0;
        {
            SerialPeer killed(simulator.devicePath());
            QCOMPARE(::ioctl(killed.descriptor(), TIOCEXCL), 0);
            QCOMPARE(::ioctl(killed.descriptor(), TIOCGEXCL, &exclusive), 0);
            QCOMPARE(exclusive, 1);
        }
        QTRY_VERIFY(simulator.command(u"status"_s).contains(u"port=closed"_s));
        SerialPeer next(simulator.devicePath());
        QCOMPARE(::ioctl(next.descriptor(), TIOCGEXCL, &exclusive), 0);
        QCOMPARE(exclusive, 0);
    }

    void hangsUpAfterEveryOctet()
    {
        SimulatorProcess simulator(withoutEcho);
        const QByteArray command = "AT\r";
        for (qsizetype octets = 1; octets <= command.size() + okLine.size(); ++octets) {
            SerialPeer peer(simulator.devicePath());
            simulator.command(u"unplug-after %1"_s.arg(octets));
            peer.write(command);
            const QByteArray got = peer.readToHangUp();
            // What was not read when the line hung up is lost, as with a real one; never more
            // than was let through.
            QVERIFY2(okLine.startsWith(got) && got.size() <= qMax<qsizetype>(0, octets - command.size()),
                     got.constData());
            simulator.command(u"plug"_s);
        }
    }

    void everyProfileIsUnderstood()
    {
        const QDir profiles(QStringLiteral(SIMULATOR_PROFILES));
        const QStringList names = profiles.entryList({u"*.modem"_s}, QDir::Files);
        QVERIFY(names.size() >= 12);
        for (const QString &name : names) {
            SimulatorProcess simulator({u"--profile"_s, profiles.filePath(name)});
            QVERIFY2(simulator.command(u"status"_s).contains(u"line=plugged"_s), qPrintable(name));
        }
        QCOMPARE(runProgram({u"--link"_s, u"x"_s, u"--profile"_s, u"/nowhere"_s}).status, 2);
    }

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
        QCOMPARE(listed.output, u"  SM,1 REC UNREAD +8613800138000: 你好\nok 1 messages\n"_s);
        QVERIFY(control(u"help"_s).output.contains(u"  deliver-parts [OPTIONS] NUMBER ORDER TEXT\n"));
        const Ended refused = control(u"deliver"_s);
        QCOMPARE(refused.status, 1);
        QVERIFY(refused.output.startsWith(u"error "));
    }

    void refusedControls()
    {
        SimulatorProcess simulator(withoutEcho);
        for (const char *line : {"", "unknown", "deliver", "deliver +123456789012345678901 x",
                                 "deliver 银行 x", "deliver-tpdu 0", "deliver-parts 10086 1,3 x",
                                 "latency -1", "pin maybe", "cnmi 2,1", "unplug x", "status more"})
            QVERIFY_THROWS_EXCEPTION(std::runtime_error, simulator.command(QString::fromUtf8(line)));
    }

    void wrongUse()
    {
        QTemporaryDir folder;
        const QString file = folder.filePath(u"file"_s);
        QFile precious(file);
        QVERIFY(precious.open(QIODevice::WriteOnly));
        precious.write("precious");
        precious.close();
        QCOMPARE(runProgram({u"--link"_s, file}).status, 1);
        QCOMPARE(precious.size(), 8);
        QCOMPARE(runProgram({u"--link"_s, folder.filePath(u"m"_s), u"--log"_s, folder.path()}).status, 1);
        QCOMPARE(runProgram({}).status, 2);
        QCOMPARE(runProgram({u"--nonsense"_s}).status, 2);
        SimulatorProcess simulator;
        QCOMPARE(runProgram({u"--link"_s, folder.filePath(u"m"_s), u"--control"_s, simulator.controlPath()})
                     .status,
                 1);
        QCOMPARE(simulator.command(u"sent"_s), u"0"_s);
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

QTEST_GUILESS_MAIN(SimulatorLineTest)
#include "SimulatorLineTest.moc"
