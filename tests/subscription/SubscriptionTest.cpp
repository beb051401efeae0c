#include "subscription/Subscription.h"
#include "tests/support/Office.h"
#include "tests/support/TextTable.h"

using namespace Qt::StringLiterals;

class SubscriptionTest : public QObject
{
    Q_OBJECT

private slots:
    void answers_data()
    {
        // orders: OrderName,IsOrder,isPulic,UserList; switches: UserName,Type,IsOrder; rows parted by " / "
        addRows(uR"(
            case                              | orders                               | switches                | user     | takes it
            no order                          |                                      | bob,NBYJ,1              | bob      |
            closed                            | NBYJ,0,1,                            | bob,NBYJ,1              | bob      |
            never switched                    | NBYJ,1,1,                            |                         | bob      | yes
            switched off                      | NBYJ,1,1,                            | bob,NBYJ,0              | bob      |
            switched on                       | NBYJ,1,1,                            | bob,NBYJ,1              | bob      | yes
            switch null                       | NBYJ,1,1,                            | bob,NBYJ,NULL           | bob      |
            switch of another type            | NBYJ,1,1,                            | bob,WBYJ,0              | bob      | yes
            switch of another letter case     | NBYJ,1,1,                            | Bob,NBYJ,0              | bob      | yes
            switch of nobody                  | NBYJ,1,1,                            | NULL,NBYJ,0             |          | yes
            first switch decides              | NBYJ,1,1,                            | bob,NBYJ,0 / bob,NBYJ,1 | bob      |
            own switch among similar ones     | NBYJ,1,1,                            | BOB,NBYJ,0 / bob ,NBYJ,0 / bob,NBYJ,1 | bob | yes
            listed, other letter case         | NBYJ,1,0,alice;Bob                   |                         | bob      | yes
            listed, other letter case too     | NBYJ,1,0,alice;Bob                   |                         | ALICE    | yes
            part of a listed name             | NBYJ,1,0,alice;Bob                   |                         | al       |
            empty list                        | NBYJ,1,0,                            |                         | bob      |
            null list, public null            | NBYJ,1,NULL,NULL                     |                         | bob      |
            first open order decides          | NBYJ,0,1, / NBYJ,1,0,al / NBYJ,1,1,  |                         | bob      |
            name with a quote                 | NBYJ,1,1,                            | o'neil,NBYJ,0           | o'neil   |
            name as SQL                       | NBYJ,1,1,                            | bob,NBYJ,0              | x' or '1'='1 | yes
            )"_s);
    }
    void answers()
    {
        Office office;
        const auto rows = [](const char *column) {
            return cell(column).replace(u',', u'|').split(u" / "_s, Qt::SkipEmptyParts);
        };
        office.add(u"SMS_Order"_s, u"OrderName, IsOrder, isPulic, UserList"_s, rows("orders"));
        office.add(u"SMS_IsOrder"_s, u"UserName, Type, IsOrder"_s, rows("switches"));
        const SubscriptionReading reading(office.session.Conn(), {u"NBYJ"_s});
        QCOMPARE(reading.isUserOrdered(u"NBYJ"_s, cell("user")), !cell("takes it").isEmpty());
    }
};

QTEST_GUILESS_MAIN(SubscriptionTest)
#include "SubscriptionTest.moc"
