#include "database/Recordset.h"
#include "foundation/Settings.h"
#include "tests/database/DatabaseWork.h"

#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

class ConnectionTest : public QObject
{
    Q_OBJECT

private slots:
    void snapshotCountsItsRowsAndIsNotDisturbed()
    {
        Office office;
        office.add(u"SMS_Queues"_s, u"ToMB, MsgContent"_s, {u"1|a"_s, u"2|NULL"_s, u"3|"_s});
        Recordset rows(office.session.Conn());
        rows.open(u"select * from SMS_Queues"_s);
        QCOMPARE(rows.recordCount(), 3);
        office.session.Conn().execute(u"delete from SMS_Queues"_s);
        QStringList numbers;
        for (; !rows.atEnd(); rows.moveNext())
            numbers += rows.text("tomb"_L1) + (rows.value("MSGCONTENT"_L1).isNull() ? u"-"_s : u"+"_s);
        QCOMPARE(numbers, QStringList({u"1+"_s, u"2-"_s, u"3+"_s}));
    }

    void withoutAStringTheSessionIsNotOpen_data()
    {
        QTest::addColumn<QString>("connectString");
        QTest::newRow("empty") << u""_s;
        QTest::newRow("unreachable") << u"Provider=SQLite;Data Source=/nonexistent;Password=secret"_s;
        QTest::newRow("malformed") << u"Password='secret"_s;
    }
    void withoutAStringTheSessionIsNotOpen()
    {
        QFETCH(QString, connectString);
        Office office;
        office.registry.write(Settings::connectStringPath(), connectString);
        QVERIFY(!office.session.OpenDB());
        QVERIFY(!office.session.Conn().isOpen());
        QVERIFY(!office.session.openFailure().isEmpty());
        QVERIFY(!office.session.openFailure().contains(u"secret"_s));
        QVERIFY_EXCEPTION_THROWN(office.session.Conn().execute(u"select 1"_s), DatabaseFault);
        // Another one replaces the connection.
        Office other;
        office.registry.write(Settings::connectStringPath(), other.connectString());
        QVERIFY(office.session.OpenDB());
        office.session.Conn().execute(u"insert into SMS_Queues (ToMB) values ('7')"_s);
        QCOMPARE(other.table(u"SMS_Queues"_s, u"ToMB"_s), QStringList(u"7"_s));
    }

    void fileThatIsNoDatabaseIsNotOpened()
    {
        Office office;
        QFile file(office.databaseFile());
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(QByteArray(8192, 'x')) == 8192);
        file.close();
        Connection connection;
        QCOMPARE(kindOf([&] { connection.open(office.connectString()); }), DatabaseFault::Kind::Lost);
        QVERIFY(file.remove());
        QCOMPARE(kindOf([&] { connection.open(office.connectString()); }), DatabaseFault::Kind::Lost);
        QVERIFY(!file.exists()); // nothing was created in its place
    }
};

QTEST_GUILESS_MAIN(ConnectionTest)
#include "ConnectionTest.moc"
