#include "alerts/NewMailAlerts.h"
#include "alerts/RecipientIndex.h"
#include "alerts/SkipOldMail.h"
#include "tests/support/Office.h"
#include "tests/support/Rows.h"

#include <QRandomGenerator>
#include <QSet>

using namespace Qt::StringLiterals;

/// An office whose alerts come from passes that remember what they have read, beside one of which every pass begins
/// anew, over random histories of both.
class NewMailAlertsTest : public QObject
{
    Q_OBJECT

private:
    static constexpr MailHistory::Limits smallLimits{.newestMails = 3, .sliceMails = 4};

    std::unique_ptr<Office> m_office;
    std::unique_ptr<NewMailAlerts> m_alerts;
    std::unique_ptr<Office> m_forgetful;
    QRandomGenerator m_random;
    int m_highest = 0;

    static std::unique_ptr<Office> makeOffice()
    {
        auto office = std::make_unique<Office>();
        office->add(u"SMS_Order"_s, u"OrderName, IsOrder, isPulic"_s, {u"NBYJ|1|1"_s, u"WBYJ|1|1"_s});
        return office;
    }
    void openOffice(MailHistory::Limits limits)
    {
        m_office = makeOffice();
        m_alerts =
            std::make_unique<NewMailAlerts>(m_office->session, m_office->console, m_office->faults, limits);
    }
    void inBoth(const QString &sql, const QVariantList &values)
    {
        m_office->oa(sql, values);
        m_forgetful->oa(sql, values);
    }
    int below(int limit) { return m_random.bounded(limit); }
    int mostlyOn() { return below(4) == 0 ? 0 : 1; }
    QString anyUser() { return u"u%1"_s.arg(below(4)); }
    QString anyType() { return below(2) == 0 ? u"NBYJ"_s : u"WBYJ"_s; }
    QString anyRecipients() { return u"*%1-%2-0-0*%3-0-0-0*"_s.arg(anyUser()).arg(below(2)).arg(anyUser()); }
    /// Mostly one of the oldest or newest.
    int anyMail() { return 1 + below(below(2) == 0 ? qMax(1, m_highest) : qMin(3, qMax(1, m_highest))); }

    void newMails()
    {
        for (int i = below(4); i >= 0; --i) {
            m_highest += below(8) == 0 ? 1 + below(1000) : 1;
            inBoth(u"insert into VO_Email (VOID, EmailSource, EmailStatus, EmailTo, EmailFrom, EmailSubject)"
                   " values (?, ?, ?, ?, 'x', ?)"_s,
                   {m_highest, below(2) + 1, mostlyOn(), anyRecipients(), m_highest});
        }
    }
    void change(bool mayBeOldMail)
    {
        switch (below(mayBeOldMail ? 8 : 5)) {
        case 0:
            return inBoth(u"update SMS_IsOrder set IsOrder=? where UserName=? and Type=?"_s,
                          {mostlyOn(), anyUser(), anyType()});
        case 1:
            return inBoth(u"update SMS_Alert_MaxOAID set CurrentMaxOAID=? where UserName=? and Source=?"_s,
                          {below(m_highest + 2), anyUser(), anyType()});
        case 2:
            return inBoth(u"update VO_UserInfor set AccountState=? where UserName=?"_s,
                          {mostlyOn(), anyUser()});
        case 5:
            return inBoth(u"update VO_Email set EmailStatus=?, EmailSource=? where VOID=?"_s,
                          {below(2), below(2) + 1, anyMail()});
        case 6:
            return inBoth(u"update VO_Email set EmailTo=? where VOID=?"_s, {anyRecipients(), anyMail()});
        case 7:
            return inBoth(u"delete from VO_Email where VOID=?"_s, {anyMail()});
        default:
            newMails();
        }
    }
    /// In order within each user and service.
    static QString alertsOf(Office &office)
    {
        return (office.rows(u"select ToMB, MsgContent from SMS_Queues"
                            " order by ToMB, MsgContent like '%外部%', OAID"_s) +
                office.rows(
                    u"select UserName, Source, CurrentMaxOAID from SMS_Alert_MaxOAID order by 1, 2"_s))
            .join(u'\n');
    }

private slots:
    void sameAsReadingAll_data()
    {
        const Rows<bool, MailHistory::Limits> row("changesOldMails", "limits");
        // A change in an older mail may be noticed some passes later where not all is read by each.
        row("old mails stay", false, smallLimits);
        row("old mails change", true, smallLimits);
        row("old mails change, all are read", true, {});
    }
    void sameAsReadingAll()
    {
        QFETCH(bool, changesOldMails);
        QFETCH(MailHistory::Limits, limits);
        const bool atOnce = !changesOldMails || limits.newestMails != smallLimits.newestMails;
        for (quint32 seed = 0; seed < 6; ++seed) {
            m_random.seed(seed);
            m_highest = 0;
            openOffice(limits);
            m_forgetful = makeOffice();
            for (int i = 0; i < 4; ++i) {
                const QString user = u"u%1"_s.arg(i);
                inBoth(u"insert into VO_UserInfor (UserName, Mobile, AccountState) values (?, ?, ?)"_s,
                       {user, user, mostlyOn()});
                inBoth(u"insert into SMS_IsOrder (UserName, Type, IsOrder) values (?, ?, ?)"_s,
                       {user, anyType(), mostlyOn()});
            }
            for (int tick = 0; tick < 30; ++tick) {
                for (int i = below(3); i >= 0; --i)
                    change(changesOldMails);
                NewMailAlerts(m_forgetful->session, m_forgetful->console, m_forgetful->faults).pass();
                for (int pass = 0; pass < (atOnce ? 1 : 30); ++pass)
                    m_alerts->pass();
                const QString found = alertsOf(*m_office);
                QVERIFY2(found == alertsOf(*m_forgetful),
                         qPrintable(u"seed %1, tick %2: %3"_s.arg(seed).arg(tick).arg(found)));
            }
            QVERIFY(m_office->table(u"SMS_Queues"_s, u"OAID"_s).size() > 30);
        }
    }

    void oldMailsAreNotReadAgain()
    {
        openOffice(smallLimits);
        m_office->addRow(u"VO_UserInfor"_s, u"UserName, Mobile, AccountState"_s, {u"bob"_s, 1, 1});
        m_office->oa(
            u"insert into VO_Email (VOID, EmailSource, EmailStatus, EmailTo) with recursive n(i) as"
            " (select 1 union all select i+1 from n where i<1000) select i*1000, '1', '1', '*x-0-*' from n"_s);
        const auto statements = [this] {
            const qint64 before = m_office->session.Conn().statementsRun();
            m_alerts->pass();
            return m_office->session.Conn().statementsRun() - before;
        };
        QVERIFY(statements() > 250);
        QVERIFY(statements() < 20);
    }

    void skippedMailIsNeverAlerted()
    {
        openOffice({});
        const auto alerted = [this] {
            m_office->oa(u"delete from SMS_Queues"_s);
            m_alerts->pass();
            return m_office->table(u"SMS_Queues"_s, u"ToMB"_s).join(u' ');
        };
        const auto mail = [this](const QString &row) {
            m_office->add(u"VO_Email"_s, u"VOID, EmailTo, EmailSource, EmailStatus"_s, {row + u"|1|1"_s});
        };
        const auto watermarks = [this] {
            return m_office
                ->rows(u"select UserName, Source, CurrentMaxOAID from SMS_Alert_MaxOAID order by 1, 2"_s)
                .join(u' ');
        };
        const auto skip = [this] { return skipOldMail(m_office->session.Conn()); };
        QCOMPARE(skip(), 0);
        m_office->add(
            u"VO_UserInfor"_s, u"UserName, Mobile, AccountState"_s,
            {u"bob|1|1"_s, u"bob|2|1"_s, u"amy|3|1"_s, u"carol|NULL|1"_s, u"NULL|4|1"_s, u"eve|5|0"_s});
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

    /// EmailTo contains "*" + name + "-0-".
    void recipientsAreFoundByTheRule()
    {
        QRandomGenerator random(20060305);
        const auto text = [&random](int most) {
            QString entry;
            for (int length = random.bounded(most + 1); length > 0; --length)
                entry += u"*-0-a*0b"_s[random.bounded(8)];
            return entry;
        };
        for (int round = 0; round < 5000; ++round) {
            const QString emailTo = text(40);
            RecipientIndex index;
            QSet<QString> expected;
            QStringList names;
            for (int i = 0; i < 6; ++i) {
                names += text(5);
                index.add(names[i], i);
                if (emailTo.contains(u'*' + names[i] + u"-0-"_s))
                    expected += names[i];
            }
            QSet<QString> found;
            index.find(emailTo, [&](int number) { found += names[number]; });
            QVERIFY2(found == expected, qPrintable(emailTo + u" / "_s + names.join(u", "_s)));
        }
    }
};

QTEST_GUILESS_MAIN(NewMailAlertsTest)
#include "NewMailAlertsTest.moc"
