#include "subscription/Subscription.h"
#include "tests/support/Office.h"

#include <QTest>

using namespace Qt::StringLiterals;

/// Every case asks both forms of the test.
class SubscriptionTest : public QObject
{
    Q_OBJECT

private:
    static QList<bool> answersOf(Office &office, const QString &user)
    {
        return {isUserOrdered(office.session.Conn(), u"NBYJ"_s, user),
                SubscriptionReading(office.session.Conn(), {u"NBYJ"_s}).isUserOrdered(u"NBYJ"_s, user)};
    }

private slots:
    void answers_data()
    {
        QTest::addColumn<QString>("orders");   // OrderName|IsOrder|isPulic|UserList, parted by " / "
        QTest::addColumn<QString>("switches"); // UserName|Type|IsOrder
        QTest::addColumn<QString>("user");
        QTest::addColumn<bool>("ordered");
        const auto row = [](const char *name, const char *orders, const char *switches, const char *user,
                            bool ordered) {
            QTest::newRow(name) << QString::fromLatin1(orders) << QString::fromLatin1(switches)
                                << QString::fromLatin1(user) << ordered;
        };
        const auto *everyone = "NBYJ|1|1|";
        const auto *some = "NBYJ|1|0|alice;Bob";
        row("no order", "", "bob|NBYJ|1", "bob", false);
        row("closed", "NBYJ|0|1|", "bob|NBYJ|1", "bob", false);
        row("never switched", everyone, "", "bob", true);
        row("switched off", everyone, "bob|NBYJ|0", "bob", false);
        row("switched on", everyone, "bob|NBYJ|1", "bob", true);
        row("switch null", everyone, "bob|NBYJ|NULL", "bob", false);
        row("switch of another type", everyone, "bob|WBYJ|0", "bob", true);
        row("switch of another letter case", everyone, "Bob|NBYJ|0", "bob", true);
        row("switch of nobody", everyone, "NULL|NBYJ|0", "", true);
        row("first switch decides", everyone, "bob|NBYJ|0 / bob|NBYJ|1", "bob", false);
        row("own switch among similar ones", everyone, "BOB|NBYJ|0 / bob |NBYJ|0 / bob|NBYJ|1", "bob", true);
        row("listed, other letter case", some, "", "bob", true);
        row("listed, other letter case too", some, "", "ALICE", true);
        row("part of a listed name", some, "", "al", false);
        row("empty list", "NBYJ|1|0|", "", "bob", false);
        row("null list, public null", "NBYJ|1|NULL|NULL", "", "bob", false);
        row("first open order decides", "NBYJ|0|1| / NBYJ|1|0|al / NBYJ|1|1|", "", "bob", false);
        row("name with a quote", everyone, "o'neil|NBYJ|0", "o'neil", false);
        row("name as SQL", everyone, "bob|NBYJ|0", "x' or '1'='1", true);
    }
    void answers()
    {
        QFETCH(QString, orders);
        QFETCH(QString, switches);
        QFETCH(QString, user);
        QFETCH(bool, ordered);
        Office office;
        const auto rows = [](const QString &text) { return text.split(u" / "_s, Qt::SkipEmptyParts); };
        office.add(u"SMS_Order"_s, u"OrderName, IsOrder, isPulic, UserList"_s, rows(orders));
        office.add(u"SMS_IsOrder"_s, u"UserName, Type, IsOrder"_s, rows(switches));
        QCOMPARE(answersOf(office, user), (QList{ordered, ordered}));
    }

    void equalityIsTheDatabasesOwn()
    {
        Office office;
        office.oa(u"drop table SMS_IsOrder"_s);
        office.oa(
            u"create table SMS_IsOrder (UserName text collate nocase, Type text collate rtrim, IsOrder text)"_s);
        office.add(u"SMS_IsOrder"_s, u"UserName, Type, IsOrder"_s, {u"BOB|NBYJ  |0"_s});
        office.add(u"SMS_Order"_s, u"OrderName, IsOrder, isPulic"_s, {u"NBYJ|1|1"_s});
        QCOMPARE(answersOf(office, u"bob"_s), (QList{false, false}));
    }
};

QTEST_GUILESS_MAIN(SubscriptionTest)
#include "SubscriptionTest.moc"
