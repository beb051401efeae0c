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

    /// UserName|Mobile|AccountState
    void users(const QStringList &rows)
    {
        m_office->add(u"VO_UserInfor"_s, u"UserName, Mobile, AccountState"_s, rows);
    }
    /// VOID|EmailTo
    void mail(const QString &row)
    {
        m_office->add(u"VO_Email"_s, u"VOID, EmailTo, EmailSource, EmailStatus"_s, {row + u"|1|1"_s});
    }
    /// The numbers that get the alerts of one more pass.
    QString alerted()
    {
        m_office->oa(u"delete from SMS_Queues"_s);
        m_alerts->pass();
        return m_office->table(u"SMS_Queues"_s, u"ToMB"_s).join(u' ');
    }
    QString watermarks()
    {
        return m_office
            ->rows(u"select UserName, Source, CurrentMaxOAID from SMS_Alert_MaxOAID order by 1, 2"_s)
            .join(u' ');
    }

private slots:
    void init()
    {
        m_office = std::make_unique<Office>();
        m_alerts = std::make_unique<NewMailAlerts>(m_office->session, m_office->console, m_office->faults);
        m_office->add(u"SMS_Order"_s, u"OrderName, IsOrder, isPulic"_s, {u"NBYJ|1|1"_s, u"WBYJ|1|1"_s});
    }
    void cleanup() { QCOMPARE(m_office->console.takeLog(), QStringList()); }

    void skippedMailIsNeverAlerted()
    {
        const auto skip = [this] { return skipOldMail(m_office->session.Conn()); };
        QCOMPARE(skip(), 0);
        users({u"bob|1|1"_s, u"bob|2|1"_s, u"amy|3|1"_s, u"carol|NULL|1"_s, u"NULL|4|1"_s, u"eve|5|0"_s});
        m_office->add(u"SMS_Alert_MaxOAID"_s, u"UserName, Source, CurrentMaxOAID"_s, {u"amy|NBYJ|1"_s});
        QCOMPARE(skip(), 2); // without a mail there is
        QCOMPARE(watermarks(), u"amy|NBYJ|0 amy|WBYJ|0 bob|NBYJ|0 bob|WBYJ|0"_s);
        mail(u"8|*bob-0-0-0*amy-0-0-0*"_s);
        QCOMPARE(skip(), 2);
        QCOMPARE(alerted(), QString());
        mail(u"9|*bob-0-0-0*"_s);
        QCOMPARE(alerted(), u"1"_s);
        QCOMPARE(watermarks(), u"amy|NBYJ|8 amy|WBYJ|8 bob|NBYJ|9 bob|WBYJ|8"_s);
    }
};

QTEST_GUILESS_MAIN(NewMailAlertsTest)
#include "NewMailAlertsTest.moc"
