#include "foundation/UserDirectory.h"
#include "database/Transaction.h"
#include "tests/support/Office.h"
#include "tests/support/TextTable.h"

using namespace Qt::StringLiterals;

class UserDirectoryTest : public QObject
{
    Q_OBJECT

private slots:
    void lookups_data()
    {
        addRows(uR"(
            name     | number      | its user | display name
            alice    | 13800000001 | alice    | 爱丽丝
            bob      | 13800000001 | alice    | NULL
            carol    |             |          | ""
            dave     | "+86 138"   | dave     | d
            ALICE    |             |          | NULL
            "alice " |             |          | NULL
            o'neil   | 1'2         | o'neil   | x
            ""       |             |          | NULL
            )"_s);
    }
    void lookups()
    {
        Office office;
        office.add(u"VO_UserInfor"_s, u"UserName, Mobile, TureName"_s,
                   {u"alice|13800000001|爱丽丝"_s, u"bob|13800000001|NULL"_s, u"carol|NULL|"_s,
                    u"dave|+86 138|d"_s, u"o'neil|1'2|x"_s});
        Connection &connection = office.session.Conn();
        const QString name = QString::fromUtf8(QTest::currentDataTag());
        QCOMPARE(getUserMB(connection, name), cell("number"));
        QVERIFY(!getUserMB(connection, name).isNull()); // "" and not NULL, when it is stored
        QCOMPARE(getMBUser(connection, cell("number")), cell("its user"));
        const QVariant displayName = ShowUserName(connection, name);
        QCOMPARE(displayName.isNull() ? u"NULL"_s : displayName.toString(), cell("display name"));
    }

    void failedLookupGivesNothingButForbidsTheCommitAroundIt()
    {
        Office office;
        office.oa(u"alter table VO_UserInfor rename to gone"_s);
        Connection &connection = office.session.Conn();
        QVERIFY_EXCEPTION_THROWN(ShowUserName(connection, u"alice"_s), DatabaseFault);
        Transaction transaction(connection);
        QCOMPARE(getUserMB(connection, u"alice"_s), u""_s);
        QVERIFY_EXCEPTION_THROWN(transaction.commit(), DatabaseFault);
    }
};

QTEST_GUILESS_MAIN(UserDirectoryTest)
#include "UserDirectoryTest.moc"
