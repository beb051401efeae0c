#include "database/Recordset.h"
#include "database/Transaction.h"
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
        office.oa(u"insert into SMS_Queues (ToMB, MsgContent) values ('1', 'a'), ('2', null), ('3', '')"_s);
        Recordset rows(office.session.Conn());
        rows.open(u"select * from SMS_Queues"_s);
        QCOMPARE(rows.recordCount(), 3);
        office.session.Conn().execute(u"delete from SMS_Queues"_s);
        QStringList numbers;
        for (; !rows.atEnd(); rows.moveNext())
            numbers += rows.text("tomb"_L1) + (rows.value("MSGCONTENT"_L1).isNull() ? u"-"_s : u"+"_s);
        QCOMPARE(numbers, QStringList({u"1+"_s, u"2-"_s, u"3+"_s}));
    }

    void rowsOfOneRecordsetMaySetDifferentColumns()
    {
        Office office;
        Recordset queue(office.session.Conn());
        queue.openForAppend(u"SMS_Queues"_s);
        const auto add = [&](std::initializer_list<QLatin1String> columns) {
            queue.addNew();
            for (const QLatin1String column : columns)
                queue.set(column, QString(column));
            queue.update();
        };
        add({"ToUser"_L1, "ToMB"_L1, "MsgContent"_L1});
        add({"ToUser"_L1, "ToMB"_L1});
        add({"ToMB"_L1, "ToUser"_L1, "MsgContent"_L1});
        QCOMPARE(office.rows(u"select ToUser, ToMB, MsgContent, MsgType from SMS_Queues"_s),
                 QStringList({u"ToUser|ToMB|MsgContent|0"_s, u"ToUser|ToMB|NULL|0"_s,
                              u"ToUser|ToMB|MsgContent|0"_s}));
    }

    void transactionRollsBackUnlessCommitted()
    {
        Office office;
        Connection &connection = office.session.Conn();
        const auto insert = [&] { connection.execute(u"insert into SMS_Queues (ToMB) values ('1')"_s); };
        {
            const Transaction forgotten(connection);
            insert();
        }
        {
            Transaction outer(connection);
            {
                Transaction inner(connection);
                insert();
                inner.commit();
            }
            outer.commit();
        }
        {
            Transaction outer(connection);
            {
                const Transaction inner(connection);
                insert();
            }
            QVERIFY(kindOf([&] { outer.commit(); }));
        }
        QCOMPARE(office.rows(u"select count(*) from SMS_Queues"_s), QStringList(u"1"_s));
    }

    void lockedDatabaseIsWaitedForThenUnavailable()
    {
        Office office;
        office.oa(u"begin exclusive"_s);
        Connection &connection = office.session.Conn();
        QCOMPARE(kindOf([&] { connection.execute(u"update SMS_Queues set MsgStatus=8"_s); }),
                 DatabaseFault::Kind::Unavailable);
        QVERIFY(connection.isOpen());
        office.oa(u"rollback"_s);
        connection.execute(u"update SMS_Queues set MsgStatus=8"_s);
    }

    void vanishedFileIsALostConnectionUntilItIsOpenedAgain()
    {
        Office office;
        Connection &connection = office.session.Conn();
        QVERIFY(office.moveDatabaseAway());
        QCOMPARE(kindOf([&] { connection.execute(u"update SMS_Queues set MsgStatus=8"_s); }),
                 DatabaseFault::Kind::Lost);
        QVERIFY(!office.session.OpenDB());
        QVERIFY(!QFile::exists(office.databaseFile())); // nothing was created in its place
        QVERIFY(office.moveDatabaseBack());
        QVERIFY(!connection.isOpen());
        QVERIFY(office.session.OpenDB());
        connection.execute(u"update SMS_Queues set MsgStatus=8"_s);
    }

    void fileThatIsNoDatabaseIsNotOpened()
    {
        Office office;
        QFile file(office.path(u"garbage"_s));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(8192, 'x'));
        file.close();
        Connection connection;
        QCOMPARE(kindOf([&] { connection.open(u"Provider=SQLite;Data Source="_s + file.fileName()); }),
                 DatabaseFault::Kind::Lost);
    }
};

QTEST_GUILESS_MAIN(ConnectionTest)
#include "ConnectionTest.moc"
