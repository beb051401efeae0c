#include "modem/Inbox.h"
#include "tests/modem/ModemAtWork.h"
#include "tests/support/TextTable.h"

#include <QDir>
#include <QTest>

using namespace Qt::StringLiterals;

/// Every transcript of the modem control's with the simulated modem.
class TranscriptTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { qputenv("TZ", "Asia/Shanghai"); }

    void play_data()
    {
        QStringList files;
        const QDir folder(QStringLiteral(TRANSCRIPTS_FOLDER));
        for (const QString &name : folder.entryList({u"*.transcript"_s}))
            files += folder.filePath(name);
        addTranscripts(files);
    }
    void play()
    {
        ModemAtWork play;
        QFETCH(QStringList, steps);
        for (const QString &step : std::as_const(steps)) {
            const QString difference = play.perform(step);
            QVERIFY2(difference.isEmpty(), qPrintable(step.left(80) + u": "_s + difference));
        }
        QCOMPARE(play.leftOver(), QString());
    }

    void directMessagesAreBounded()
    {
        Inbox inbox{ModemLimits{}};
        for (qsizetype i = 0; i <= ModemBounds::directMessages; ++i)
            QCOMPARE(inbox.addDirect(QByteArray::number(i), -1, {}),
                     i < ModemBounds::directMessages ? Inbox::Direct::New : Inbox::Direct::NoRoom);
    }

    void everyProfileSendsAndReceives_data()
    {
        QTest::addColumn<QString>("profile");
        const QDir folder(QStringLiteral(PROFILES_FOLDER));
        for (const QString &name : folder.entryList({u"*.modem"_s}))
            QTest::newRow(qPrintable(name)) << folder.filePath(name);
    }
    void everyProfileSendsAndReceives()
    {
        QFETCH(QString, profile);
        ModemAtWork play({u"--profile"_s, profile});
        play.perform(u"limit sync 20000"_s);
        // Some are slow to start.
        QVERIFY(QTest::qWaitFor([&] { return play.perform(u"open"_s).isEmpty(); }, 30000));
        for (const QString &step :
             u"send 10086 {150*汉};sent {150*汉};! deliver 10086 a;received a"_s.split(u';'))
            QCOMPARE(play.perform(withRepetitions(step)), QString());
    }
};

QTEST_GUILESS_MAIN(TranscriptTest)
#include "TranscriptTest.moc"
