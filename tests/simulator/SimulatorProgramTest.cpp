#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>

using namespace Qt::StringLiterals;

/// The simulator as a person starts it and speaks to it from a shell.
class SimulatorProgramTest : public QObject
{
    Q_OBJECT

    QTemporaryDir m_folder;
    const QString m_control = m_folder.filePath(u"control"_s);

    /// The exit status and what the program printed.
    QString control(const QString &line) const
    {
        QProcess process;
        process.start(QStringLiteral(SIMULATOR_PROGRAM), {u"--control"_s, m_control, u"--command"_s, line});
        process.waitForFinished();
        return QString::number(process.exitCode()) + u' ' + QString::fromUtf8(process.readAll());
    }

private slots:
    void answersUntilItEndsAndLeavesNothingBehind()
    {
        const QString link = m_folder.filePath(u"modem"_s);
        for (const int signal : {SIGTERM, SIGINT, 0}) {
            QProcess process;
            process.start(QStringLiteral(SIMULATOR_PROGRAM), {u"--link"_s, link, u"--control"_s, m_control});
            QTRY_VERIFY(QFile::exists(link));
            QCOMPARE(control(u"deliver +8613800138000 你好"_s), u"0 ok 1 delivered\n"_s);
            QCOMPARE(control(u"storage list"_s),
                     u"0 ok 1 messages\n  SM,1 REC UNREAD +8613800138000: 你好\n"_s);
            QVERIFY(control(u"help"_s).contains(u"  deliver-parts [OPTIONS] NUMBER ORDER TEXT\n"));
            QVERIFY(control(u"deliver"_s).startsWith(u"1 error "_s));
            if (signal != 0)
                QCOMPARE(::kill(static_cast<pid_t>(process.processId()), signal), 0);
            else
                QCOMPARE(control(u"quit"_s).at(0), u'0');
            QVERIFY(process.waitForFinished());
            QCOMPARE(process.exitStatus(), QProcess::NormalExit);
            QCOMPARE(process.exitCode(), 0);
            QVERIFY(!QFileInfo(link).isSymLink() && !QFile::exists(m_control));
        }
    }
};

QTEST_GUILESS_MAIN(SimulatorProgramTest)
#include "SimulatorProgramTest.moc"
