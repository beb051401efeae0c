#include "app/CommandLine.h"

#include <QTest>

using namespace Qt::StringLiterals;

class CommandLineTest : public QObject
{
    Q_OBJECT

private slots:
    void wrongUsageIsToldInWords_data()
    {
        QTest::addColumn<QString>("arguments");
        QTest::addColumn<QString>("named"); // in the error
        QTest::newRow("unknown option") << u"--strat"_s << u"strat"_s;
        QTest::newRow("stray argument") << u"start"_s << u"start"_s;
        QTest::newRow("unknown setting") << u"--set Port=3"_s << u"Port"_s;
        QTest::newRow("setting without value") << u"--set ServerPort"_s << u"NAME=VALUE"_s;
        QTest::newRow("COM0") << u"--set COM0=/dev/x"_s << u"COM0"_s;
    }
    void wrongUsageIsToldInWords()
    {
        QFETCH(QString, arguments);
        QFETCH(QString, named);
        const auto read = readCommandLine((u"sms-server "_s + arguments).split(u' '));
        const auto *wrong = std::get_if<WrongUsage>(&read);
        QVERIFY(wrong != nullptr);
        QVERIFY2(wrong->why.contains(named), qPrintable(wrong->why));
    }

    void everythingAtOnce()
    {
        const auto read = readCommandLine({u"sms-server"_s, u"--start"_s, u"--hidden"_s, u"--settings=/s"_s,
                                           u"--set"_s, u"ConnectString=Provider=SQLite;Data Source=a=b"_s,
                                           u"--set"_s, u"com12="_s, u"--log-file"_s, u"/l"_s});
        const auto *line = std::get_if<CommandLine>(&read);
        QVERIFY(line != nullptr);
        QVERIFY(line->start && line->hidden && !line->headless && !line->wantsWindow());
        QCOMPARE(line->assignments.size(), 2);
        QCOMPARE(line->assignments.at(0).value, u"Provider=SQLite;Data Source=a=b"_s);
        QCOMPARE(line->assignments.at(1).value, QString());
        QCOMPARE(line->settingsFile + line->logFile, u"/s/l"_s);
    }
};

QTEST_APPLESS_MAIN(CommandLineTest)
#include "CommandLineTest.moc"
