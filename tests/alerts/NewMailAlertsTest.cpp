#include "alerts/NewMailAlerts.h"
#include "alerts/SkipOldMail.h"
#include "tests/support/Office.h"

#include <QTest>

using namespace Qt::StringLiterals;

class NewMailAlertsTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Office> m_office;
    std::unique_ptr<NewMailAlerts> m_alerts;

    void user(const QVariant &name, const QVariant &mobile, const QString &state = u"1"_s)
    {
        m_office->oa(u"insert into VO_UserInfor (UserName, Mobile, AccountState) values (?, ?, ?)"_s,
                     {name, mobile, state});
    }
    void mail(int number, const QString &to)
    {
        m_office->oa(
            u"insert into VO_Email (VOID, EmailTo, EmailSource, EmailStatus) values (?, ?, '1', '1')"_s,
            {number, to});
    }
    QStringList receivers() { return m_office->rows(u"select ToMB from SMS_Queues order by OAID"_s); }
    QStringList watermarks()
    {
        return m_office->rows(
            u"select UserName, Source, CurrentMaxOAID from SMS_Alert_MaxOAID order by UserName, Source, OAID"_s);
    }

private slots:
    void init()
    {
        m_office = std::make_unique<Office>();
        m_alerts = std::make_unique<NewMailAlerts>(m_office->session, m_office->console, m_office->faults);
        m_office->oa(
            u"insert into SMS_Order (OrderName, IsOrder, isPulic) values ('NBYJ', '1', '1'), ('WBYJ', '1', '1')"_s);
    }
    void cleanup() { QCOMPARE(m_office->console.takeLog(), QStringList()); }

    void lostDatabaseEndsThePass()
    {
        user(u"amy"_s, u"1"_s);
        mail(1, u"*amy-0-0-0*"_s);
        QVERIFY(m_office->moveDatabaseAway());
        QVERIFY_EXCEPTION_THROWN(m_alerts->pass(), DatabaseFault);
        QVERIFY(m_office->moveDatabaseBack());
        QVERIFY(m_office->session.OpenDB());
        m_alerts->pass();
        QCOMPARE(receivers().size(), 1);
    }

    void stopEndsThePassBetweenUsers()
    {
        user(u"amy"_s, u"1"_s);
        user(u"bob"_s, u"2"_s);
        mail(1, u"*amy-0-0-0*bob-0-0-0*"_s);
        m_office->console.stopWhen = [this] { return !receivers().isEmpty(); };
        m_alerts->pass();
        QCOMPARE(receivers(), QStringList(u"1"_s));
        m_office->console.stopWhen = nullptr;
        m_alerts->pass();
        QCOMPARE(receivers(), QStringList({u"1"_s, u"2"_s}));
    }

    void skippedMailIsNeverAlerted()
    {
        QCOMPARE(skipOldMail(m_office->session.Conn()), 0);
        user(u"bob"_s, u"1"_s);
        user(u"bob"_s, u"2"_s);
        user(u"amy"_s, u"3"_s);
        user(u"carol"_s, {});
        user({}, u"4"_s);
        user(u"eve"_s, u"5"_s, u"0"_s);
        m_office->oa(
            u"insert into SMS_Alert_MaxOAID (UserName, Source, CurrentMaxOAID) values ('amy', 'NBYJ', 1)"_s);
        QCOMPARE(skipOldMail(m_office->session.Conn()), 2); // without a mail there is
        QCOMPARE(watermarks(),
                 QStringList({u"amy|NBYJ|0"_s, u"amy|WBYJ|0"_s, u"bob|NBYJ|0"_s, u"bob|WBYJ|0"_s}));
        mail(8, u"*bob-0-0-0*amy-0-0-0*"_s);
        QCOMPARE(skipOldMail(m_office->session.Conn()), 2);
        m_alerts->pass();
        QCOMPARE(receivers(), QStringList());
        mail(9, u"*bob-0-0-0*"_s);
        m_alerts->pass();
        QCOMPARE(receivers(), QStringList(u"1"_s));
        QCOMPARE(watermarks(),
                 QStringList({u"amy|NBYJ|8"_s, u"amy|WBYJ|8"_s, u"bob|NBYJ|9"_s, u"bob|WBYJ|8"_s}));
    }
};

QTEST_GUILESS_MAIN(NewMailAlertsTest)
#include "NewMailAlertsTest.moc"
