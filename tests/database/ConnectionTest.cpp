#include "database/Recordset.h"
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
        QCOMPARE(office.table(u"SMS_Queues"_s, u"ToUser, ToMB, MsgContent, MsgType"_s),
                 QStringList({u"ToUser|ToMB|MsgContent|0"_s, u"ToUser|ToMB|NULL|0"_s,
                              u"ToUser|ToMB|MsgContent|0"_s}));
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
