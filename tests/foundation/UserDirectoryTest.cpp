#include "foundation/UserDirectory.h"
#include "database/Transaction.h"
#include "tests/support/Office.h"

#include <QTest>

using namespace Qt::StringLiterals;

class UserDirectoryTest : public QObject
{
    Q_OBJECT

private slots:
    void lookups_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("number");
        QTest::addColumn<QString>("userOfNumber");
        QTest::addColumn<QString>("displayName"); // NULL as it is
        QTest::newRow("user with a number") << u"alice"_s << u"13800000001"_s << u"alice"_s << u"爱丽丝"_s;
        QTest::newRow("number shared: the first row")
            << u"bob"_s << u"13800000001"_s << u"alice"_s << u"NULL"_s;
        QTest::newRow("number null") << u"carol"_s << u""_s << u""_s << u""_s;
        QTest::newRow("number with a country code stays as it is")
            << u"dave"_s << u"+86 138"_s << u"dave"_s << u"d"_s;
        QTest::newRow("case counts") << u"ALICE"_s << u""_s << u""_s << u"NULL"_s;
        QTest::newRow("blanks count") << u"alice "_s << u""_s << u""_s << u"NULL"_s;
        QTest::newRow("quote") << u"o'neil"_s << u"1'2"_s << u"o'neil"_s << u"x"_s;
        QTest::newRow("empty") << u""_s << u""_s << u""_s << u"NULL"_s;
    }
    void lookups()
    {
        QFETCH(QString, name);
        QFETCH(QString, number);
        Office office;
        office.add(u"VO_UserInfor"_s, u"UserName, Mobile, TureName"_s,
                   {u"alice|13800000001|爱丽丝"_s, u"bob|13800000001|NULL"_s, u"carol|NULL|"_s,
                    u"dave|+86 138|d"_s, u"o'neil|1'2|x"_s});
        Connection &connection = office.session.Conn();
        QCOMPARE(getUserMB(connection, name), number);
        QVERIFY(!getUserMB(connection, name).isNull()); // "" and not NULL, when it is stored
        QTEST(getMBUser(connection, number), "userOfNumber");
        const QVariant displayName = ShowUserName(connection, name);
        QTEST(displayName.isNull() ? u"NULL"_s : displayName.toString(), "displayName");
    }

    void failedLookupGivesNothingButForbidsTheCommitAroundIt()
    {
        Office office;
        office.oa(u"alter table VO_UserInfor rename to gone"_s);
        Connection &connection = office.session.Conn();
        QCOMPARE(getMBUser(connection, u"1"_s), u""_s);
        QVERIFY_EXCEPTION_THROWN(ShowUserName(connection, u"alice"_s), DatabaseFault);
        Transaction transaction(connection);
        QCOMPARE(getUserMB(connection, u"alice"_s), u""_s);
        QVERIFY_EXCEPTION_THROWN(transaction.commit(), DatabaseFault);
    }
};

QTEST_GUILESS_MAIN(UserDirectoryTest)
#include "UserDirectoryTest.moc"
