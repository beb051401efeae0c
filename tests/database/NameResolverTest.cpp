#include "database/driver/NameResolver.h"

#include <QTest>

using namespace Qt::StringLiterals;

class NameResolverTest : public QObject
{
    Q_OBJECT

private slots:
    void namesAreRewritten_data()
    {
        QTest::addColumn<QString>("sql");
        QTest::addColumn<QString>("wanted");
        QTest::newRow("select")
            << u"select count(*), oaid, TOMB from SMS_QUEUES where msgstatus='0' and MsgContent=?"_s
            << u"select count(*), <OAID>, <ToMB> from <sms_Queues> where <MsgStatus>='0' and MsgContent=?"_s;
        QTest::newRow("texts stay") << u"update sms_queues set ToMB='it''s ToMB', MsgStatus=8"_s
                                    << u"update <sms_Queues> set <ToMB>='it''s ToMB', <MsgStatus>=8"_s;
        QTest::newRow("insert and keywords")
            << u"insert into SMS_queues (ToMB, order) values (?, ?) returning OAID"_s
            << u"insert into <sms_Queues> (<ToMB>, order) values (?, ?) returning <OAID>"_s;
        QTest::newRow("qualified, twice")
            << u"select u.UserName, SMS_QUEUES.toMB from VO_User u, SMS_queues"_s
            << u"select u.<USERNAME>, <sms_Queues>.<ToMB> from <vo_user> u, <sms_Queues>"_s;
        QTest::newRow("already quoted")
            << u"select \"tomb\" from \"SMS_Queues\""_s << u"select \"tomb\" from \"SMS_Queues\""_s;
        QTest::newRow("unfinished text") << u"select ToMB from sms_queues where x='ToMB"_s
                                         << u"select <ToMB> from <sms_Queues> where x='ToMB"_s;
    }
    void namesAreRewritten()
    {
        QFETCH(QString, sql);
        QFETCH(QString, wanted);
        NameResolver resolver = office();
        QCOMPARE(resolver.rewritten(sql), wanted);
    }

    void tableIsLookedUpOnceItIsThere()
    {
        int lookups = 0;
        QList<NameResolver::Column> columns;
        NameResolver resolver(
            [&](const QString &) {
                ++lookups;
                return columns;
            },
            [](const QString &name) { return u'"' + name + u'"'; });
        QCOMPARE(resolver.rewritten(u"select A from T"_s), u"select A from T"_s);
        columns = {{u"T"_s, u"a"_s, 0, {}}, {u"t"_s, u"A"_s, 0, {}}};
        QCOMPARE(resolver.rewritten(u"select A from T"_s), u"select \"a\" from \"T\""_s);
        QCOMPARE(resolver.rewritten(u"select A from t"_s), u"select \"a\" from \"T\""_s);
        QCOMPARE(lookups, 2);
    }

    void columnTooShortIsNamed_data()
    {
        QTest::addColumn<QString>("sql");
        QTest::addColumn<QVariantList>("values");
        QTest::addColumn<QString>("named");
        const QString fits(11, u'1');
        const QString tooLong(12, u'1');
        QTest::newRow("insert") << u"insert into SMS_Queues (oaid, MsgStatus, tomb) values (?, '0', ?)"_s
                                << QVariantList{1, tooLong} << u"sms_Queues.ToMB"_s;
        QTest::newRow("insert that fits")
            << u"insert into SMS_Queues (tomb) values (?)"_s << QVariantList{fits} << u""_s;
        QTest::newRow("pairs count once")
            << u"insert into SMS_Queues (tomb) values (?)"_s << QVariantList{u"😀"_s.repeated(11)} << u""_s;
        QTest::newRow("update, not its condition") << u"update sms_queues set OAID=?, ToMB=? where ToMB=?"_s
                                                   << QVariantList{1, fits, tooLong} << u""_s;
        QTest::newRow("update") << u"update sms_queues set OAID=?, ToMB=? where ToMB=?"_s
                                << QVariantList{1, tooLong, fits} << u"sms_Queues.ToMB"_s;
    }
    void columnTooShortIsNamed()
    {
        QFETCH(QString, sql);
        QFETCH(QVariantList, values);
        QFETCH(QString, named);
        NameResolver resolver = office();
        static_cast<void>(resolver.rewritten(sql));
        const DatabaseFault refusal(DatabaseFault::Kind::Refused, u"refused"_s);
        const QString text = withColumnsTooShort(refusal, resolver.storedParameters(sql), values).message();
        QCOMPARE(text, named.isEmpty() ? u"refused"_s : u"refused（内容太长：%1）"_s.arg(named));
    }

private:
    static NameResolver office()
    {
        return {[](const QString &table) -> QList<NameResolver::Column> {
                    if (table == "sms_queues"_L1)
                        return {{u"sms_Queues"_s, u"OAID"_s, 0, {}},
                                {u"sms_Queues"_s, u"ToMB"_s, 11, {}},
                                {u"sms_Queues"_s, u"MsgStatus"_s, 0, {}},
                                {u"sms_Queues"_s, u"Order"_s, 0, {}},
                                {u"sms_Queues"_s, u"Count"_s, 0, {}}};
                    if (table == "vo_user"_L1)
                        return {{u"vo_user"_s, u"USERNAME"_s, 0, {}}};
                    return {};
                },
                [](const QString &name) { return u'<' + name + u'>'; }};
    }
};

QTEST_GUILESS_MAIN(NameResolverTest)
#include "NameResolverTest.moc"
