#include "incoming/SmsCommandInterpreter.h"
#include "tests/support/Office.h"

#include <QTest>

using namespace Qt::StringLiterals;

class SmsCommandInterpreterTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Office> m_office;

    void order(const QVariantList &nameCodesOpenPublicUsers)
    {
        m_office->oa(u"insert into SMS_Order (OrderName, OrderCode, DisOrderCode, IsOrder, isPulic, UserList)"
                     " values (?, ?, ?, ?, ?, ?)"_s,
                     nameCodesOpenPublicUsers);
    }
    void command(const QString &type, const QString &text, const QString &sender = u"+8613800000001"_s)
    {
        handleOrderCommand(m_office->session.Conn(), type, sender, u"13800000001"_s, text);
    }
    QStringList switches()
    {
        return m_office->rows(u"select UserName, Type, IsOrder from SMS_IsOrder order by OAID"_s);
    }
    QStringList replies() { return m_office->rows(u"select MsgContent from SMS_Queues order by OAID"_s); }

private slots:
    void init()
    {
        m_office = std::make_unique<Office>();
        m_office->oa(u"insert into VO_UserInfor (UserName, Mobile) values ('o''neil', '+8613800000001')"_s);
    }
    void cleanup() { QCOMPARE(m_office->console.takeLog(), QStringList()); }

    void orderNameOfAText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("name");
        QTest::newRow("subscribe code") << u"DY"_s << u"NBYJ"_s;
        QTest::newRow("cancel code") << u"QX"_s << u"NBYJ"_s;
        QTest::newRow("in two orders: the first") << u"BOTH"_s << u"WBYJ"_s;
        QTest::newRow("equal for the database only") << u"dy"_s << u"NBYJ"_s;
        QTest::newRow("blanks around") << u" DY"_s << u""_s;
        QTest::newRow("empty text, null codes") << u""_s << u""_s;
        QTest::newRow("quotes and SQL") << u"x' or '1'='1"_s << u""_s;
        QTest::newRow("code with a quote") << u"it's"_s << u"OTHER"_s;
    }
    void orderNameOfAText()
    {
        QFETCH(QString, text);
        // A collation that ignores letter case, as many servers have.
        m_office->oa(u"drop table SMS_Order"_s);
        m_office->oa(u"create table SMS_Order (OrderName text, OrderCode text collate nocase,"
                     " DisOrderCode text collate nocase, IsOrder text, isPulic text, UserList text)"_s);
        order({u"NBYJ"_s, u"DY"_s, u"QX"_s, u"0"_s, {}, {}});
        order({u"WBYJ"_s, u"BOTH"_s, {}, u"1"_s, u"1"_s, {}});
        order({u"RCGL"_s, {}, u"BOTH"_s, u"1"_s, u"1"_s, {}});
        order({u"OTHER"_s, u"it's"_s, {}, u"1"_s, u"1"_s, {}});
        QTEST(getOrderName(m_office->session.Conn(), text), "name");
        // The database finds the type, but its codes are compared exactly.
        command(u"NBYJ"_s, u"dy"_s);
        QCOMPARE(switches() + replies(), QStringList());
    }

    void codesOfTheFirstOrder()
    {
        order({u"NBYJ"_s, u"A1"_s, {}, u"0"_s, u"1"_s, {}});
        order({u"NBYJ"_s, u"A2"_s, u"Q2"_s, u"1"_s, u"1"_s, {}});
        QCOMPARE(getOrderCode(m_office->session.Conn(), u"NBYJ"_s), u"A1"_s);
        QCOMPARE(getDisOrderCode(m_office->session.Conn(), u"NBYJ"_s), QString());
        QCOMPARE(getOrderCode(m_office->session.Conn(), u"RCGL"_s), QString());
        // The second order opens the type, but its own codes do nothing.
        command(u"NBYJ"_s, u"A2"_s);
        command(u"NBYJ"_s, u"Q2"_s);
        command(u"NBYJ"_s, u""_s); // nor does an empty text equal the code that is missing
        QCOMPARE(switches() + replies(), QStringList());
        command(u"NBYJ"_s, u"A1"_s);
        QCOMPARE(switches(), QStringList(u"o'neil|NBYJ|1"_s));
    }

    void permission_data()
    {
        QTest::addColumn<QVariant>("open");
        QTest::addColumn<QVariant>("isPublic");
        QTest::addColumn<QVariant>("users");
        QTest::addColumn<QString>("user");
        QTest::addColumn<bool>("allowed");
        const QVariant one(u"1"_s);
        const QVariant two(u"user1;user2"_s);
        QTest::newRow("listed last") << one << QVariant(u"0"_s) << two << u"user2"_s << true;
        QTest::newRow("part of a name") << one << QVariant(u"0"_s) << two << u"user"_s << false;
        QTest::newRow("two names as one") << one << QVariant(u"0"_s) << two << u"user1;user2"_s << true;
        QTest::newRow("public") << one << one << QVariant() << u"user"_s << true;
    }
    void permission()
    {
        QFETCH(QVariant, open);
        QFETCH(QVariant, isPublic);
        QFETCH(QVariant, users);
        QFETCH(QString, user);
        order({u"WBYJ"_s, u"DY"_s, u"QX"_s, open, isPublic, users});
        QTEST(isOrderAllowed(m_office->session.Conn(), u"WBYJ"_s, user), "allowed");
    }

    void aFaultAnywhereLeavesNothing_data()
    {
        QTest::addColumn<QString>("breaking");
        QTest::addColumn<QString>("mending");
        QTest::newRow("switch")
            << u"create trigger t before insert on SMS_IsOrder begin select raise(abort, 'x'); end"_s
            << u"drop trigger t"_s;
        QTest::newRow("reply")
            << u"create trigger t before insert on SMS_Queues begin select raise(abort, 'x'); end"_s
            << u"drop trigger t"_s;
        // The lookup itself absorbs the fault.
        QTest::newRow("user lookup") << u"alter table VO_UserInfor rename to gone"_s
                                     << u"alter table gone rename to VO_UserInfor"_s;
    }
    void aFaultAnywhereLeavesNothing()
    {
        QFETCH(QString, breaking);
        QFETCH(QString, mending);
        order({u"NBYJ"_s, u"DY"_s, u"QX"_s, u"1"_s, u"1"_s, {}});
        m_office->oa(breaking);
        QVERIFY_EXCEPTION_THROWN(command(u"NBYJ"_s, u"DY"_s), DatabaseFault);
        QCOMPARE(switches() + replies(), QStringList());
        m_office->oa(mending);
        command(u"NBYJ"_s, u"DY"_s);
        QCOMPARE(switches(), QStringList(u"o'neil|NBYJ|1"_s));
        QCOMPARE(replies().size(), 1);
    }
};

QTEST_GUILESS_MAIN(SmsCommandInterpreterTest)
#include "SmsCommandInterpreterTest.moc"
