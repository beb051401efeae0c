#include "database/Recordset.h"
#include "database/Savepoint.h"
#include "database/Transaction.h"
#include "tests/database/DatabaseWork.h"

#include <QDateTime>
#include <QTest>

using namespace Qt::StringLiterals;

class DatabaseTest : public QObject
{
    Q_OBJECT

private slots:
    void statusMayBeTextOrNumber_data()
    {
        QTest::addColumn<DatabaseRoute>("route");
        QTest::addColumn<QString>("type");
        for (const auto &[name, route] : std::span(databaseRoutes).first<5>()) {
            for (const QString &type : {u"varchar(10)"_s, u"char(4)"_s, u"integer"_s, u"numeric(9)"_s})
                QTest::addRow("%s, %s", name, qPrintable(type)) << route << type;
        }
    }
    void statusMayBeTextOrNumber()
    {
        QFETCH(QString, type);
        Office office(currentRoute(), SchemaKind::None);
        office.oa(u"create table SMS_Queues (OAID integer primary key, MsgStatus %1)"_s.arg(type));
        for (int id = 1; id <= 3; ++id)
            append(office, u"SMS_Queues"_s, {{"OAID"_L1, id}, {"MsgStatus"_L1, u"0"_s}});
        append(office, u"SMS_Queues"_s, {{"OAID"_L1, 4}, {"MsgStatus"_L1, QVariant()}});
        const auto count = [&](const QString &condition) {
            return office.session.Conn()
                .firstValue("select count(*) from SMS_Queues where "_L1 + condition, {})
                ->toInt();
        };
        QCOMPARE(count(u"MsgStatus='0'"_s), 3);
        QCOMPARE(office.session.Conn().execute(u"update SMS_Queues set MsgStatus=8 where OAID=?"_s, {2}), 1);
        QCOMPARE(office.session.Conn().execute(u"update SMS_Queues set MsgStatus=4 where OAID=?"_s, {u"3"_s}),
                 1);
        QCOMPARE(office.session.Conn().execute(u"update SMS_Queues set MsgStatus=4 where OAID=?"_s, {77}), 0);
        QCOMPARE(count(u"MsgStatus='0'"_s), 1);
        QCOMPARE(count(u"MsgStatus<>'0'"_s), 2);
        Recordset finished(office.session.Conn());
        finished.open(u"select OAID, MsgStatus from SMS_Queues where MsgStatus<>'0' order by OAID"_s);
        QCOMPARE(finished.text("msgstatus"_L1).trimmed(), u"8"_s);
        finished.moveNext();
        QCOMPARE(finished.text("MSGSTATUS"_L1).trimmed(), u"4"_s);
    }

    void numbersGoIntoTextColumnsAndTextsIntoNumberColumns_data() { addRoutes(); }
    void numbersGoIntoTextColumnsAndTextsIntoNumberColumns()
    {
        Office office(currentRoute(), SchemaKind::None);
        office.oa(u"create table T (N integer, B bigint, T1 varchar(40), T2 varchar(40))"_s);
        append(office, u"T"_s,
               {{"N"_L1, u"-12"_s}, {"B"_L1, qlonglong(9007199254740993)}, {"T1"_L1, 42}, {"T2"_L1, true}});
        QCOMPARE(office.rows(u"select * from T"_s), QStringList(u"-12|9007199254740993|42|1"_s));
        QCOMPARE(kindOf([&] {
                     append(office, u"T"_s, {{"N"_L1, u"twelve"_s}});
                 }),
                 office.isSqlite() ? std::nullopt : std::optional(DatabaseFault::Kind::Refused));
        Recordset row(office.session.Conn());
        row.open(u"select * from T where T1=? and B=?"_s, {u"42"_s, qlonglong(9007199254740993)});
        QCOMPARE(row.recordCount(), 1);
        QCOMPARE(row.value("B"_L1).toLongLong(), 9007199254740993);
    }

    void datesGoIntoEveryKindOfColumn_data() { addRoutes(); }
    void datesGoIntoEveryKindOfColumn()
    {
        Office office(currentRoute(), SchemaKind::None);
        const bool isPostgreSql = office.isPostgreSql();
        office.oa(u"create table D (AsText varchar(40), AsDate date, AsTime %1, AsZoned %2)"_s.arg(
            isPostgreSql ? u"timestamp"_s : u"datetime"_s,
            isPostgreSql ? u"timestamp with time zone"_s : u"timestamp"_s));
        const auto whole = [&](const QVariant &value) {
            office.oa(u"delete from D"_s);
            append(office, u"D"_s,
                   {{"AsText"_L1, value}, {"AsDate"_L1, value}, {"AsTime"_L1, value}, {"AsZoned"_L1, value}});
            Recordset row(office.session.Conn());
            row.open(u"select * from D"_s);
            return QStringList{
                row.text("AsText"_L1), row.value("AsDate"_L1).toDate().toString(Qt::ISODate),
                row.value("AsTime"_L1).toDateTime().toLocalTime().toString(u"yyyyMMdd hhmmss"_s),
                row.value("AsZoned"_L1).toDateTime().toLocalTime().toString(u"yyyyMMdd hhmmss"_s)};
        };
        const QStringList wanted{u"2006-03-05 07:08:09"_s, u"2006-03-05"_s, u"20060305 070809"_s,
                                 u"20060305 070809"_s};
        QCOMPARE(whole(u"2006-03-05 07:08:09"_s), wanted);
        if (!office.isSqlite()) // there a date's form is the writer's affair
            QCOMPARE(whole(QDateTime({2006, 3, 5}, {7, 8, 9})), wanted);
        // A value read is a value that can be written again.
        if (!office.isSqlite()) {
            Recordset row(office.session.Conn());
            row.open(u"select * from D"_s);
            QCOMPARE(whole(row.value("AsZoned"_L1)), wanted);
            QCOMPARE(kindOf([&] {
                         append(office, u"D"_s, {{"AsTime"_L1, u"no date"_s}});
                     }),
                     DatabaseFault::Kind::Refused);
        }
    }

    void textsAndBytesComeBackAsTheyWent_data() { addRoutes(); }
    void textsAndBytesComeBackAsTheyWent()
    {
        Office office(currentRoute());
        QStringList texts = {
            u""_s,      u" "_s,  u"x "_s,           u"'; drop table SMS_SIMReceive; -- \\' %_\"😀"_s,
            u"？?:a"_s, u"一"_s, u"一二三四五一"_s, u"第一"_s};
        for (const qsizetype length :
             {1, 254, 255, 256, 3999, 4000, 4001, 4095, 4096, 4097, 8191, 8192, 300000})
            texts += QString(length, u'长');
        texts += u"😀"_s.repeated(5000);
        for (const QString &text : qAsConst(texts)) {
            append(office, u"VO_Email"_s, {{"EmailContent"_L1, text}, {"EmailSubject"_L1, QVariant()}});
            Recordset back(office.session.Conn());
            back.open(u"select EmailContent, EmailSubject from VO_Email where EmailContent=?"_s, {text});
            QCOMPARE(back.recordCount(), 1);
            QCOMPARE(back.value("EmailContent"_L1).typeId(), QMetaType::QString);
            QVERIFY2(back.text("EmailContent"_L1) == text, qPrintable(QString::number(text.size())));
            QVERIFY(back.value("EmailSubject"_L1).isNull());
            // The way in and the way out could be wrong alike: the OA system sees the same text.
            QVERIFY(office.rows(u"select EmailContent from VO_Email"_s) == QStringList(text));
            office.oa(u"delete from VO_Email"_s);
        }
        QByteArray pattern;
        for (int octet = 0; octet < 256; ++octet)
            pattern += char(octet);
        for (const QByteArray &bytes : {QByteArray(""), QByteArray("\0", 1), pattern.repeated(31),
                                        pattern.repeated(32), pattern.repeated(33), pattern.repeated(8000)}) {
            office.oa(u"delete from VO_EmailAttachments"_s);
            append(office, u"VO_EmailAttachments"_s, {{"FileContent"_L1, bytes}});
            const auto back =
                office.session.Conn().firstValue(u"select FileContent from VO_EmailAttachments"_s, {});
            QVERIFY2(back->toByteArray() == bytes && !back->isNull(),
                     qPrintable(QString::number(bytes.size())));
        }
        append(office, u"VO_EmailAttachments"_s, {{"FileContent"_L1, QByteArray()}});
        QCOMPARE(office.rows(u"select count(*) from VO_EmailAttachments where FileContent is null"_s),
                 QStringList(u"1"_s));
    }

    void unstorableCharactersAreReplaced_data() { addRoutes(); }
    void unstorableCharactersAreReplaced()
    {
        Office office(currentRoute());
        const QString nul = u"a"_s + QChar(0) + u"b"_s;
        append(office, u"SMS_SIMReceive"_s, {{"MsgContent"_L1, nul}});
        const auto back = office.session.Conn().firstValue(u"select MsgContent from SMS_SIMReceive"_s, {});
        QCOMPARE(back->toString(),
                 (office.route() == DatabaseRoute::Sqlite || office.route() == DatabaseRoute::MariaDb)
                     ? nul
                     : u"a\uFFFDb"_s);
        if (office.route() == DatabaseRoute::Sqlite)
            return;
        office.oa(u"delete from SMS_SIMReceive"_s);
        append(office, u"SMS_SIMReceive"_s, {{"MsgContent"_L1, u"x"_s + QChar(0xd83d) + u"y"_s}});
        QCOMPARE(office.rows(u"select MsgContent from SMS_SIMReceive"_s), QStringList(u"x\uFFFDy"_s));
    }

    void paddedTextIsReadWithoutItsPadding_data() { addRoutes(serverRoutes); }
    void paddedTextIsReadWithoutItsPadding()
    {
        Office office(currentRoute(), SchemaKind::None);
        office.oa(u"create table VO_UserInfor (UserName char(20), Mobile char(20), TureName varchar(20))"_s);
        append(office, u"VO_UserInfor"_s,
               {{"UserName"_L1, u"zhang"_s}, {"Mobile"_L1, u"13800000000"_s}, {"TureName"_L1, u"张 "_s}});
        Recordset user(office.session.Conn());
        user.open(u"select Mobile, TureName from VO_UserInFor where Username=?"_s, {u"zhang"_s});
        QCOMPARE(user.recordCount(), 1);
        QCOMPARE(user.text("Mobile"_L1), u"13800000000"_s);
        QCOMPARE(user.text("TureName"_L1), u"张 "_s);
    }

    void textTooLongIsOneRowsFault_data() { addRoutes(serverRoutes); }
    void textTooLongIsOneRowsFault()
    {
        Office office(currentRoute(), SchemaKind::None);
        office.oa(
            u"create table SMS_SIMReceive (Remark varchar(90), MsgContent varchar(5), FromMB varchar(20))"_s);
        const auto store = [&](const QString &text) {
            append(office, u"SMS_SIMReceive"_s, {{"FromMB"_L1, u"13800000000"_s}, {"MsgContent"_L1, text}});
        };
        store(u"一二三四五"_s);
        store(u"😀😀😀😀😀"_s);
        const auto fault = faultOf([&] { store(u"一二三四五六"_s); });
        QVERIFY(fault);
        QCOMPARE(fault->kind(), DatabaseFault::Kind::Refused);
        QVERIFY2(fault->message().contains(u"sms_simreceive"_s, Qt::CaseInsensitive),
                 qPrintable(fault->message()));
        QVERIFY2(fault->message()
                     .mid(fault->message().indexOf(u'：'))
                     .contains(u"msgcontent"_s, Qt::CaseInsensitive),
                 qPrintable(fault->message()));
        QVERIFY2(!fault->message().contains(u"六"_s), qPrintable(fault->message()));
        store(u"后来"_s);
        QCOMPARE(office.rows(u"select count(*) from SMS_SIMReceive"_s), QStringList(u"3"_s));
    }

    void namesAreFoundInTheServersSpelling_data()
    {
        QTest::addColumn<DatabaseRoute>("route");
        QTest::addColumn<QString>("table");
        QTest::addColumn<QString>("columns");
        for (const auto &[name, route] : serverRoutes) {
            QTest::addRow("%s, as written", name)
                << route << u"VO_UserInfor"_s << u"UserName,TYPE,From,Select"_s;
            QTest::addRow("%s, upper", name) << route << u"VO_USERINFOR"_s << u"USERNAME,TYPE,DESC,COUNT"_s;
            QTest::addRow("%s, lower", name) << route << u"vo_userinfor"_s << u"username,type,order,where"_s;
        }
    }
    void namesAreFoundInTheServersSpelling()
    {
        QFETCH(QString, table);
        QFETCH(QString, columns);
        Office office(currentRoute(), SchemaKind::None);
        const QChar quote = office.isPostgreSql() ? u'"' : u'`';
        QStringList definitions;
        const QStringList names = columns.split(u',');
        for (const QString &column : names)
            definitions += quote + column + quote + u" varchar(20) not null default 'd'"_s;
        office.oa("create table "_L1 + quote + table + quote + " ("_L1 + definitions.join(u',') + u')');
        append(office, u"VO_UserInFor"_s, {{"userName"_L1, u"zhang"_s}, {"tyPe"_L1, u"1"_s}});
        QCOMPARE(office.session.Conn().execute(
                     u"Update vo_USERINFOR set Type='2' where Vo_UserInfor.Username=?"_s, {u"zhang"_s}),
                 1);
        Recordset user(office.session.Conn());
        user.open(u"select type, count(*) as Amount from VO_UserInfor where USERNAME=? and TYPE='2'"
                  " group by type order by type desc"_s,
                  {u"zhang"_s});
        QCOMPARE(user.recordCount(), 1);
        QCOMPARE(user.text("Type"_L1), u"2"_s);
        QCOMPARE(user.value("amount"_L1).toInt(), 1);
        Recordset all(office.session.Conn());
        all.open(u"select * from vo_userinfor"_s);
        QCOMPARE(all.text("UserName"_L1), u"zhang"_s);
        QCOMPARE(office.session.Conn().execute(u"delete from vo_UserInfor where userNAME=?"_s, {u"zhang"_s}),
                 1);
    }

    void changedTableCostsAtMostOneStatement_data() { addRoutes(); }
    void changedTableCostsAtMostOneStatement()
    {
        Office office(currentRoute(), SchemaKind::None);
        office.oa(u"create table T (N integer primary key, Name varchar(5))"_s);
        append(office, u"T"_s, {{"N"_L1, 1}, {"Name"_L1, u"short"_s}});
        const auto read = [&](const QString &columns) {
            Recordset rows(office.session.Conn());
            rows.open("select "_L1 + columns + " from T where N=?"_L1, {1});
            return rows.atEnd() ? QStringList() : QStringList({rows.text("Name"_L1), rows.text("More"_L1)});
        };
        for (const QString &columns : {u"*"_s, u"Name"_s, u"N, Name"_s})
            QCOMPARE(read(columns), QStringList({u"short"_s, QString()}));
        // The administrator makes room for what the log complained of, and more.
        office.oa(u"alter table T add More varchar(9) default 'more'"_s);
        if (office.isPostgreSql())
            office.oa(u"alter table T alter column Name type varchar(500)"_s);
        else if (office.isMariaDb())
            office.oa(u"alter table T modify Name varchar(500)"_s);
        const QString longName(500, u'长');
        office.oa(u"update T set Name=?"_s, {longName});
        for (const QString &columns : {u"*"_s, u"Name"_s, u"N, Name"_s}) {
            const auto fault = faultOf([&] { static_cast<void>(read(columns)); });
            QVERIFY2(!fault || fault->kind() == DatabaseFault::Kind::Refused,
                     qPrintable(fault ? fault->message() : QString()));
            QCOMPARE(read(columns), QStringList({longName, columns == u"*" ? u"more"_s : QString()}));
        }
        QVERIFY(office.session.Conn().isOpen());
    }

    void valueTooLargeForTheServerIsRefusedAndTheConnectionStays_data() { addRoutes(serverRoutes); }
    void valueTooLargeForTheServerIsRefusedAndTheConnectionStays()
    {
        Office office(currentRoute());
        const auto store = [&](qsizetype octets) {
            append(office, u"VO_EmailAttachments"_s, {{"FileContent"_L1, QByteArray(octets, 'x')}});
        };
        store(12 << 20);
        if (office.isMariaDb())
            QCOMPARE(kindOf([&] { store(20 << 20); }), DatabaseFault::Kind::Refused);
        else
            store(20 << 20);
        QVERIFY(office.session.Conn().isOpen());
        store(1);
    }
};

QTEST_GUILESS_MAIN(DatabaseTest)
#include "DatabaseTest.moc"
