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
        QTest::newRow("user with a number") << u"alice"_s << u"13800000001"_s << u"alice"_s;
        QTest::newRow("number shared: the first row") << u"bob"_s << u"13800000001"_s << u"alice"_s;
        QTest::newRow("number null") << u"carol"_s << u""_s << u""_s;
        QTest::newRow("number with a country code stays as it is") << u"dave"_s << u"+86 138"_s << u"dave"_s;
        QTest::newRow("case counts") << u"ALICE"_s << u""_s << u""_s;
        QTest::newRow("blanks count") << u"alice "_s << u""_s << u""_s;
        QTest::newRow("quote") << u"o'neil"_s << u"1'2"_s << u"o'neil"_s;
        QTest::newRow("injection") << u"' or '1'='1"_s << u""_s << u""_s;
        QTest::newRow("wildcard") << u"%"_s << u""_s << u""_s;
        QTest::newRow("empty") << u""_s << u""_s << u""_s;
    }
    void lookups()
    {
        QFETCH(QString, name);
        QFETCH(QString, number);
        QFETCH(QString, userOfNumber);
        Office office;
        office.oa(u"insert into VO_UserInfor (UserName, Mobile, TureName) values ('alice', '13800000001', "
                  u"'爱丽丝'),"
                  " ('bob', '13800000001', null), ('carol', null, ''), ('dave', '+86 138', 'd'),"
                  " ('o''neil', '1''2', 'x')"_s);
        Connection &connection = office.session.Conn();
        QCOMPARE(getUserMB(connection, name), number);
        QVERIFY(!getUserMB(connection, name).isNull()); // "" and not NULL, when it is stored
        QCOMPARE(getMBUser(connection, number), userOfNumber);
    }

    void displayNameIsTheValueAsRead()
    {
        Office office;
        office.oa(
            u"insert into VO_UserInfor (UserName, TureName) values ('alice', '爱丽丝'), ('bob', null)"_s);
        QCOMPARE(ShowUserName(office.session.Conn(), u"alice"_s).toString(), u"爱丽丝"_s);
        QVERIFY(ShowUserName(office.session.Conn(), u"bob"_s).isNull());
        QVERIFY(ShowUserName(office.session.Conn(), u"nobody"_s).isNull());
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
