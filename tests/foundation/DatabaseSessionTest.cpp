#include "foundation/Settings.h"
#include "tests/support/Office.h"

#include <QTest>

using namespace Qt::StringLiterals;

class DatabaseSessionTest : public QObject
{
    Q_OBJECT

private slots:
    void withoutAStringItFailsAndConnIsNotOpen_data()
    {
        QTest::addColumn<QString>("connectString");
        QTest::newRow("empty") << u""_s;
        QTest::newRow("unreachable") << u"Provider=SQLite;Data Source=/nonexistent;Password=secret"_s;
        QTest::newRow("malformed") << u"Password='secret"_s;
    }
    void withoutAStringItFailsAndConnIsNotOpen()
    {
        QFETCH(QString, connectString);
        Office office;
        office.registry.write(Settings::connectStringPath(), connectString);
        QVERIFY(!office.session.OpenDB());
        QVERIFY(!office.session.Conn().isOpen());
        QVERIFY(!office.session.openFailure().isEmpty());
        QVERIFY(!office.session.openFailure().contains(u"secret"_s));
        QVERIFY_EXCEPTION_THROWN(office.session.Conn().execute(u"select 1"_s), DatabaseFault);
    }

    void secondOpenReplacesTheConnection()
    {
        Office first;
        Office second;
        first.registry.write(Settings::connectStringPath(), second.connectString());
        QVERIFY(first.session.OpenDB());
        first.session.Conn().execute(u"insert into SMS_Queues (ToMB) values ('7')"_s);
        QCOMPARE(second.rows(u"select ToMB from SMS_Queues"_s), QStringList(u"7"_s));
        QCOMPARE(first.rows(u"select ToMB from SMS_Queues"_s), QStringList());
    }
};

QTEST_GUILESS_MAIN(DatabaseSessionTest)
#include "DatabaseSessionTest.moc"
