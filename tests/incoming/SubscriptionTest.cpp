#include "incoming/Subscription.h"
#include "tests/support/Office.h"

#include <QTest>

using namespace Qt::StringLiterals;

/// Every case asks both forms of the test.
class SubscriptionTest : public QObject
{
    Q_OBJECT

private slots:
    void answers_data()
    {
        QTest::addColumn<QStringList>("orders");   // OrderName|IsOrder|isPulic|UserList
        QTest::addColumn<QStringList>("switches"); // UserName|Type|IsOrder
        QTest::addColumn<QString>("user");
        QTest::addColumn<bool>("ordered");
        const QStringList everyone(u"NBYJ|1|1|"_s);
        const QStringList some(u"NBYJ|1|0|alice;Bob"_s);
        QTest::newRow("no order") << QStringList() << QStringList(u"bob|NBYJ|1"_s) << u"bob"_s << false;
        QTest::newRow("closed") << QStringList(u"NBYJ|0|1|"_s) << QStringList(u"bob|NBYJ|1"_s) << u"bob"_s
                                << false;
        QTest::newRow("never switched") << everyone << QStringList() << u"bob"_s << true;
        QTest::newRow("switched off") << everyone << QStringList(u"bob|NBYJ|0"_s) << u"bob"_s << false;
        QTest::newRow("switched on") << everyone << QStringList(u"bob|NBYJ|1"_s) << u"bob"_s << true;
        QTest::newRow("switch null") << everyone << QStringList(u"bob|NBYJ|NULL"_s) << u"bob"_s << false;
        QTest::newRow("switch of another type")
            << everyone << QStringList(u"bob|WBYJ|0"_s) << u"bob"_s << true;
        QTest::newRow("switch of another letter case")
            << everyone << QStringList(u"Bob|NBYJ|0"_s) << u"bob"_s << true;
        QTest::newRow("switch of nobody") << everyone << QStringList(u"NULL|NBYJ|0"_s) << u""_s << true;
        QTest::newRow("first switch decides")
            << everyone << QStringList({u"bob|NBYJ|0"_s, u"bob|NBYJ|1"_s}) << u"bob"_s << false;
        QTest::newRow("own switch among similar ones")
            << everyone << QStringList({u"BOB|NBYJ|0"_s, u"bob |NBYJ|0"_s, u"bob|NBYJ|1"_s}) << u"bob"_s
            << true;
        QTest::newRow("listed, other letter case") << some << QStringList() << u"bob"_s << true;
        QTest::newRow("listed, other letter case too") << some << QStringList() << u"ALICE"_s << true;
        QTest::newRow("part of a listed name") << some << QStringList() << u"al"_s << false;
        QTest::newRow("empty list") << QStringList(u"NBYJ|1|0|"_s) << QStringList() << u"bob"_s << false;
        QTest::newRow("null list, public null")
            << QStringList(u"NBYJ|1|NULL|NULL"_s) << QStringList() << u"bob"_s << false;
        QTest::newRow("first open order decides")
            << QStringList({u"NBYJ|0|1|"_s, u"NBYJ|1|0|al"_s, u"NBYJ|1|1|"_s}) << QStringList() << u"bob"_s
            << false;
        QTest::newRow("name with a quote")
            << everyone << QStringList(u"o'neil|NBYJ|0"_s) << u"o'neil"_s << false;
        QTest::newRow("name as SQL") << everyone << QStringList(u"bob|NBYJ|0"_s) << u"x' or '1'='1"_s << true;
    }
    void answers()
    {
        QFETCH(QStringList, orders);
        QFETCH(QStringList, switches);
        QFETCH(QString, user);
        Office office;
        const auto values = [](const QString &row) {
            QVariantList values;
            for (const QString &value : row.split(u'|'))
                values += value == u"NULL"_s ? QVariant() : QVariant(value);
            return values;
        };
        for (const QString &row : orders)
            office.oa(u"insert into SMS_Order (OrderName, IsOrder, isPulic, UserList) values (?, ?, ?, ?)"_s,
                      values(row));
        for (const QString &row : switches)
            office.oa(u"insert into SMS_IsOrder (UserName, Type, IsOrder) values (?, ?, ?)"_s, values(row));
        QTEST(isUserOrdered(office.session.Conn(), u"NBYJ"_s, user), "ordered");
        QTEST(SubscriptionReading(office.session.Conn(), {u"NBYJ"_s}).isUserOrdered(u"NBYJ"_s, user),
              "ordered");
    }

    void equalityIsTheDatabasesOwn()
    {
        Office office;
        office.oa(u"drop table SMS_IsOrder"_s);
        office.oa(
            u"create table SMS_IsOrder (UserName text collate nocase, Type text collate rtrim, IsOrder text)"_s);
        office.oa(u"insert into SMS_IsOrder values ('BOB', 'NBYJ  ', '0')"_s);
        office.oa(u"insert into SMS_Order (OrderName, IsOrder, isPulic) values ('NBYJ', '1', '1')"_s);
        QVERIFY(!isUserOrdered(office.session.Conn(), u"NBYJ"_s, u"bob"_s));
        QVERIFY(!SubscriptionReading(office.session.Conn(), {u"NBYJ"_s}).isUserOrdered(u"NBYJ"_s, u"bob"_s));
    }
};

QTEST_GUILESS_MAIN(SubscriptionTest)
#include "SubscriptionTest.moc"
