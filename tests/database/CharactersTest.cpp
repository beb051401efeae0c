#include "database/Transaction.h"
#include "tests/database/DatabaseWork.h"

using namespace Qt::StringLiterals;

/// Texts with characters that the database, or the column, cannot hold.
class CharactersTest : public QObject
{
    Q_OBJECT

private slots:
    void lackingCharactersAreReplacedAndFoundNowhere_data()
    {
        QTest::addColumn<DatabaseRoute>("route");
        QTest::addColumn<QString>("columnSet");
        QTest::addColumn<bool>("strict");
        QTest::addColumn<QString>("stored");
        const QString chinese = u"张?x—y"_s;
        for (const auto &[name, route] : {std::pair("MariaDB", DatabaseRoute::MariaDb),
                                          std::pair("MariaDB through ODBC", DatabaseRoute::MariaDbOdbc)}) {
            QTest::addRow("%s, gbk", name) << route << u"gbk"_s << true << chinese;
            QTest::addRow("%s, gbk, not strict", name) << route << u"gbk"_s << false << chinese;
            QTest::addRow("%s, utf8mb3", name) << route << u"utf8mb3"_s << true << chinese;
            QTest::addRow("%s, latin1", name) << route << u"latin1"_s << true << u"??x—y"_s;
        }
        QTest::newRow("PostgreSQL, EUC_CN") << DatabaseRoute::PostgreSql << u""_s << true << u"张?x?y"_s;
        QTest::newRow("PostgreSQL through ODBC, EUC_CN")
            << DatabaseRoute::PostgreSqlOdbc << u""_s << true << u"张?x?y"_s;
    }
    void lackingCharactersAreReplacedAndFoundNowhere()
    {
        QFETCH(QString, columnSet);
        QFETCH(bool, strict);
        QFETCH(QString, stored);
        const bool isMariaDb = !columnSet.isEmpty();
        Office office(currentRoute(), SchemaKind::None, {},
                      isMariaDb ? QString() : u"encoding 'EUC_CN' locale 'C' template template0"_s);
        Connection &connection = office.session.Conn();
        const QString set = isMariaDb ? u" character set "_s + columnSet : QString();
        office.oa(u"create table SMS_SIMReceive (OAID integer, FromMB varchar(20)%1,"
                  " MsgContent varchar(90)%1)"_s.arg(set));
        if (isMariaDb) {
            office.oa(u"set global sql_mode='%1'"_s.arg(strict ? u"STRICT_TRANS_TABLES"_s : QString()));
            connection.open(office.connectString());
        }
        const QString text = u"张😀x—y"_s;
        {
            Transaction transaction(connection);
            for (int id = 1; id <= 2; ++id)
                append(office, u"SMS_SIMReceive"_s,
                       {{"OAID"_L1, id}, {"FromMB"_L1, u"1😀"_s}, {"MsgContent"_L1, text}});
            const QString ids = u"select OAID from SMS_SIMReceive where %1"_s;
            QVERIFY(!connection.firstValue(ids.arg(u"MsgContent=?"_s), {text}));
            QVERIFY(!connection.firstValue(ids.arg(u"FromMB=? and OAID=1"_s), {u"2😁"_s}));
            QVERIFY(connection.firstValue(ids.arg(u"MsgContent=? and OAID=2"_s), {stored}));
            Recordset none(connection);
            none.open(u"select * from SMS_SIMReceive where MsgContent like ?"_s, {u"%😁%"_s});
            QCOMPARE(none.recordCount(), 0);
            QCOMPARE(connection.execute(u"update SMS_SIMReceive set FromMB=? where OAID=?"_s, {u"二😀"_s, 2}),
                     1);
            QCOMPARE(
                connection.execute(u"update SMS_SIMReceive set FromMB='' where MsgContent=?"_s, {u"😁"_s}), 0);
            transaction.commit();
        }
        QCOMPARE(office.rows(u"select MsgContent from SMS_SIMReceive"_s), QStringList({stored, stored}));
        const QStringList told = connection.takeReplacedTables();
        QCOMPARE(told.join(u' ').toLower(), u"sms_simreceive"_s);
    }

    /// What a server lacks of its own encoding is learnt from its refusal.
    void characterThatOnlyTheServerLacksCostsOneTry()
    {
        Office office(DatabaseRoute::PostgreSql, SchemaKind::None, {},
                      u"encoding 'EUC_KR' locale 'C' template template0"_s);
        office.oa(u"create table T (A varchar(20))"_s);
        // The sign for registered goods: newer than the server's table.
        for (const QString &text : {u"한®글"_s, u"한®글"_s})
            append(office, u"T"_s, {{"A"_L1, text}});
        QCOMPARE(office.rows(u"select A from T"_s).size(), 2);
    }
};

QTEST_GUILESS_MAIN(CharactersTest)
#include "CharactersTest.moc"
