#include "database/Transaction.h"
#include "tests/database/DatabaseWork.h"

#include <QDateTime>

using namespace Qt::StringLiterals;

namespace
{

/// A value that goes into a column, and what comes back, of the kind it is wanted in.
struct Value {
    QString column;
    QVariant in;
    QVariant wanted;

    [[nodiscard]] bool isText() const { return wanted.typeId() == QMetaType::QString; }
    [[nodiscard]] bool isSame(const QVariant &back) const
    {
        switch (wanted.typeId()) {
        case QMetaType::QString:
            return back.typeId() == QMetaType::QString && back.toString() == wanted;
        case QMetaType::QByteArray:
            return !back.isNull() && back.toByteArray() == wanted;
        case QMetaType::QDate:
            return back.toDate() == wanted;
        case QMetaType::QDateTime:
            return back.toDateTime().toLocalTime() == wanted;
        default:
            return back.isNull() == wanted.isNull() && back.toLongLong() == wanted.toLongLong();
        }
    }
};

/// On every way to a database. Of dates as such SQLite knows nothing: their form is the writer's affair.
QList<Value> values(DatabaseRoute route)
{
    const bool isSqlite = !isPostgreSql(route) && !isMariaDb(route);
    const bool keepsNul = route == DatabaseRoute::Sqlite || route == DatabaseRoute::MariaDb;
    const QDateTime morning({2006, 3, 5}, {7, 8, 9});
    const QString morningText = u"2006-03-05 07:08:09"_s;
    const QString nul = u"a"_s + QChar(0) + u"b"_s;
    const QString half = u"x"_s + QChar(0xd83d);
    QList<Value> values{{u"Whole"_s, u"-12"_s, -12LL},
                        {u"Large"_s, 9007199254740993LL, 9007199254740993LL},
                        {u"Large"_s, {}, {}},
                        {u"Short"_s, 42, u"42"_s},
                        {u"Short"_s, true, u"1"_s},
                        {u"Short"_s, u"张 "_s, u"张 "_s},
                        {u"Padded"_s, u"zhang"_s, u"zhang"_s},
                        {u"Content"_s, nul, keepsNul ? nul : u"a\ufffdb"_s},
                        {u"Content"_s, half, u"x\ufffd"_s},
                        {u"Content"_s, half + u'y', u"x\ufffdy"_s},
                        {u"Octets"_s, {}, {}}};
    for (const QVariant &in : {QVariant(morningText), QVariant(morning)}) {
        if (isSqlite && in.typeId() == QMetaType::QDateTime)
            continue;
        values += {{u"Short"_s, in, morningText},
                   {u"Dated"_s, in, morning.date()},
                   {u"Timed"_s, in, morning},
                   {u"Zoned"_s, in, morning}};
    }
    QStringList texts{u""_s,      u" "_s,  u"x "_s,          u"'; drop table T; -- \\' %_\"😀"_s,
                      u"？?:a"_s, u"一"_s, u"一二三四五一"_s};
    // Qt's drivers for servers take it away.
    if (route == DatabaseRoute::Sqlite)
        texts += u"\ufeff标"_s;
    // Around the sizes in which drivers read.
    for (const int length : {1, 254, 255, 256, 3999, 4000, 4001, 4095, 4096, 4097, 8191, 8192, 300000})
        texts += QString(length, u'长');
    texts += u"😀"_s.repeated(5000);
    for (const QString &text : std::as_const(texts))
        values += {u"Content"_s, text, text};
    QByteArray pattern;
    for (int octet = 0; octet < 256; ++octet)
        pattern += char(octet);
    for (const QByteArray &octets : {QByteArray(""), QByteArray("\0", 1), pattern.repeated(31),
                                     pattern.repeated(32), pattern.repeated(33), pattern.repeated(8000)})
        values += {u"Octets"_s, octets, octets};
    return values;
}

} // namespace

class DatabaseTest : public QObject
{
    Q_OBJECT

private slots:
    void valuesComeBackAsTheyWent_data() { addRoutes(); }
    void valuesComeBackAsTheyWent()
    {
        Office office(currentRoute(), SchemaKind::None);
        office.oa(
            u"create table T (Whole integer, Large bigint, Short varchar(40), Padded char(20), Dated date,"
            " Content %1, Timed %2, Zoned %3, Octets %4)"_s.arg(
                office.isMariaDb() ? u"longtext"_s : u"text"_s,
                office.isPostgreSql() ? u"timestamp"_s : u"datetime"_s,
                office.isPostgreSql() ? u"timestamp with time zone"_s : u"timestamp"_s,
                office.isPostgreSql() ? u"bytea"_s
                : office.isMariaDb()  ? u"longblob"_s
                                      : u"blob"_s));
        const QList<Value> all = values(office.route());
        for (qsizetype i = 0; i < all.size(); ++i) {
            const Value &value = all[i];
            const QByteArray where =
                u"%1: %2, %3"_s.arg(i).arg(value.column).arg(value.in.toString().size()).toUtf8();
            QVariant in = value.in;
            // What was read can be written again, but octets, which nothing writes again.
            for (int rounds = value.column == u"Octets" ? 1 : 2; rounds > 0; --rounds) {
                append(office, u"T"_s, {{QLatin1String(value.column.toLatin1()), in}});
                const QString query = "select "_L1 + value.column + " from T"_L1;
                const auto back = value.isText()
                                      ? office.session.Conn().firstValue(
                                            query + " where "_L1 + value.column + "=?"_L1, {value.wanted})
                                      : office.session.Conn().firstValue(query, {});
                QVERIFY2(back && value.isSame(*back), where);
                // The way in and the way out could be wrong alike: the OA system sees the same text.
                if (value.isText() && value.column != u"Padded")
                    QVERIFY2(office.rows(query) == QStringList(value.wanted.toString()), where);
                in = *back;
                office.oa(u"delete from T"_s);
            }
        }
        if (office.isSqlite())
            return;
        for (const auto column : {"Whole"_L1, "Timed"_L1})
            QCOMPARE(kindOf([&] {
                         append(office, u"T"_s, {{column, u"words"_s}});
                     }),
                     DatabaseFault::Kind::Refused);
    }

    void settingsOfTheServerChangeNoValue_data() { addRoutes(serverRoutes); }
    void settingsOfTheServerChangeNoValue()
    {
        Office office(currentRoute(), SchemaKind::None);
        office.oa(office.isPostgreSql()
                      ? u"alter database %1 set standard_conforming_strings=off"_s.arg(
                            office.rows(u"select current_database()"_s)[0])
                      : u"set global sql_mode=concat(@@sql_mode, ',PAD_CHAR_TO_FULL_LENGTH'),"
                        " global sql_safe_updates=1"_s);
        office.oa(u"create table T (A varchar(20), B char(20))"_s);
        QVERIFY(office.session.OpenDB());
        append(office, u"T"_s, {{"A"_L1, u"a\\'b"_s}, {"B"_L1, u"b"_s}});
        QCOMPARE(office.rows(u"select A from T"_s), QStringList(u"a\\'b"_s));
        Connection &connection = office.session.Conn();
        QVERIFY(connection.firstValue(u"select B from T where A=?"_s, {u"a\\'b"_s}) == u"b"_s);
        QCOMPARE(connection.execute(u"update T set B='c' where B='b'"_s), 1);
        if (office.isMariaDb())
            office.oa(u"set global sql_mode='STRICT_TRANS_TABLES', global sql_safe_updates=0"_s);
    }

    void changedTableCostsAtMostOneStatement_data() { addRoutes(); }
    void changedTableCostsAtMostOneStatement()
    {
        Office office(currentRoute(), SchemaKind::None);
        office.oa(u"create table T (N integer primary key, Name varchar(5))"_s);
        office.oa(u"insert into T (N, Name) values (1, 'short')"_s);
        const auto read = [&](const QString &columns) {
            Recordset rows(office.session.Conn());
            rows.open("select "_L1 + columns + " from T where N=?"_L1, {1});
            return rows.atEnd() ? QStringList() : QStringList({rows.text("Name"_L1), rows.text("More"_L1)});
        };
        for (const QString &columns : {u"*"_s, u"Name"_s, u"N, Name"_s})
            QCOMPARE(read(columns), QStringList({u"short"_s, QString()}));
        // The administrator makes room for what the log complained of, and more.
        office.oa(u"alter table T add More varchar(9) default 'more'"_s);
        if (!office.isSqlite())
            office.oa(office.isPostgreSql() ? u"alter table T alter column Name type varchar(500)"_s
                                            : u"alter table T modify Name varchar(500)"_s);
        const QString longName(500, u'长');
        office.oa(u"update T set Name=?"_s, {longName});
        for (const QString &columns : {u"*"_s, u"Name"_s, u"N, Name"_s}) {
            const auto kind = kindOf([&] { static_cast<void>(read(columns)); });
            QVERIFY(!kind || kind == DatabaseFault::Kind::Refused);
            QCOMPARE(read(columns), QStringList({longName, columns == u"*" ? u"more"_s : QString()}));
        }
        QVERIFY(office.session.Conn().isOpen());
    }

    void valueTooLargeForTheServerIsRefusedAndTheConnectionStays_data() { addRoutes(serverRoutes); }
    void valueTooLargeForTheServerIsRefusedAndTheConnectionStays()
    {
        Office office(currentRoute());
        const auto store = [&](qsizetype octets) {
            const auto fault = faultOf([&] {
                append(office, u"VO_EmailAttachments"_s, {{"FileContent"_L1, QByteArray(octets, 'x')}});
            });
            return fault ? fault->message() : QString();
        };
        QCOMPARE(store(12 << 20), QString());
        const QString refusal = store(20 << 20);
        QCOMPARE(refusal.contains(u"20971520"_s) && refusal.contains(u"16711680"_s), office.isMariaDb());
        QCOMPARE(store(1), QString());
    }

    void lackingCharactersAreReplacedAndFoundNowhere_data()
    {
        addRows(uR"(
            what             | route                   | column set | sql mode            | stored
            gbk              | MariaDB                 | gbk        | STRICT_TRANS_TABLES | 张?x—y
            gbk, lax         | MariaDB                 | gbk        |                     | 张?x—y
            utf8mb3          | MariaDB                 | utf8mb3    | STRICT_TRANS_TABLES | 张?x—y
            latin1           | MariaDB                 | latin1     | STRICT_TRANS_TABLES | ??x—y
            gbk, odbc        | MariaDB through ODBC    | gbk        | STRICT_TRANS_TABLES | 张?x—y
            gbk, lax, odbc   | MariaDB through ODBC    | gbk        |                     | 张?x—y
            utf8mb3, odbc    | MariaDB through ODBC    | utf8mb3    | STRICT_TRANS_TABLES | 张?x—y
            latin1, odbc     | MariaDB through ODBC    | latin1     | STRICT_TRANS_TABLES | ??x—y
            EUC_CN           | PostgreSQL              |            |                     | 张?x?y
            EUC_CN, odbc     | PostgreSQL through ODBC |            |                     | 张?x?y
            )"_s);
    }
    void lackingCharactersAreReplacedAndFoundNowhere()
    {
        const QString stored = cell("stored");
        const bool isMariaDb = !cell("column set").isEmpty();
        Office office(currentRoute(), SchemaKind::None,
                      isMariaDb ? QString() : u"encoding 'EUC_CN' locale 'C' template template0"_s);
        Connection &connection = office.session.Conn();
        const QString set = isMariaDb ? u" character set "_s + cell("column set") : QString();
        office.oa(u"create table SMS_SIMReceive (OAID integer, FromMB varchar(20)%1,"
                  " MsgContent varchar(90)%1)"_s.arg(set));
        if (isMariaDb) {
            office.oa(u"set global sql_mode='%1'"_s.arg(cell("sql mode")));
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
        Office office(DatabaseRoute::PostgreSql, SchemaKind::None,
                      u"encoding 'EUC_KR' locale 'C' template template0"_s);
        office.oa(u"create table T (A varchar(20))"_s);
        // The sign for registered goods: newer than the server's table.
        for (const QString &text : {u"한®글"_s, u"한®글"_s})
            append(office, u"T"_s, {{"A"_L1, text}});
        QCOMPARE(office.rows(u"select A from T"_s).size(), 2);
    }
};

QTEST_GUILESS_MAIN(DatabaseTest)
#include "DatabaseTest.moc"
