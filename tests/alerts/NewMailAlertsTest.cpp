#include "alerts/NewMailAlerts.h"
#include "alerts/RecipientIndex.h"
#include "alerts/SkipOldMail.h"
#include "tests/support/Office.h"

#include <QRandomGenerator>
#include <QSet>
#include <QTest>
#include <algorithm>

using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(MailHistory::Limits)

/// The alerts of passes that remember what they have read beside those of a full reading at every tick, over
/// random histories of an office.
class NewMailAlertsTest : public QObject
{
    Q_OBJECT

private:
    static constexpr MailHistory::Limits smallLimits{.newestMails = 3, .sliceMails = 4};

    std::unique_ptr<Office> m_office;
    std::unique_ptr<NewMailAlerts> m_alerts;
    QRandomGenerator m_random;
    int m_highest = 0;

    // What a full reading makes of the same history.
    QHash<QString, int> m_watermarks; // by user|type
    QStringList m_wanted;             // user|type|mail, in the order of queueing

    QString m_where;

    void openOffice(MailHistory::Limits limits)
    {
        m_office = std::make_unique<Office>();
        m_alerts =
            std::make_unique<NewMailAlerts>(m_office->session, m_office->console, m_office->faults, limits);
        m_office->add(u"SMS_Order"_s, u"OrderName, IsOrder, isPulic"_s, {u"NBYJ|1|1"_s, u"WBYJ|1|1"_s});
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
            m_office->addRow(u"VO_Email"_s,
                             u"VOID, EmailSource, EmailStatus, EmailTo, EmailFrom, EmailSubject"_s,
                             {m_highest, below(2) + 1, mostlyOn(), anyRecipients(), u"x"_s, m_highest});
        }
    }
    void changeOldMail()
    {
        const QList<std::pair<QString, QVariant>> changes{
            {u"EmailStatus"_s, below(2)}, {u"EmailTo"_s, anyRecipients()}, {u"EmailSource"_s, below(2) + 1}};
        const auto &[column, value] = changes[below(3)];
        m_office->oa(u"update VO_Email set %1=? where VOID=?"_s.arg(column), {value, anyMail()});
        if (below(5) == 0)
            m_office->oa(u"delete from VO_Email where VOID=?"_s, {anyMail()});
    }
    void change(bool mayBeOldMail)
    {
        const QString user = anyUser();
        const QString type = anyType();
        switch (below(mayBeOldMail ? 7 : 5)) {
        case 0:
            m_office->oa(u"update SMS_IsOrder set IsOrder=? where UserName=? and Type=?"_s,
                         {mostlyOn(), user, type});
            break;
        case 1:
            if (const auto watermark = m_watermarks.find(user + u'|' + type);
                watermark != m_watermarks.end()) {
                *watermark = below(m_highest + 2);
                m_office->oa(u"update SMS_Alert_MaxOAID set CurrentMaxOAID=? where UserName=? and Source=?"_s,
                             {*watermark, user, type});
            }
            break;
        case 2:
            m_office->oa(u"update VO_UserInfor set AccountState=? where UserName=?"_s, {mostlyOn(), user});
            break;
        case 3:
        case 4:
            newMails();
            break;
        default:
            changeOldMail();
        }
    }

    void readAll()
    {
        const QStringList services = m_office->rows(
            u"select UserName||'|'||OrderName from VO_UserInfor u, SMS_Order where AccountState='1' and not "
            u"exists"
            " (select 1 from SMS_IsOrder i where i.UserName=u.UserName and Type=OrderName and i.IsOrder<>'1')"
            " order by u.rowid, OrderName"_s);
        for (const QString &service : services) {
            int &watermark = m_watermarks[service];
            const QStringList mails = m_office->rows(
                u"select VOID from VO_Email where VOID>? and (EmailSource='2')=? and EmailStatus<>'0'"
                " and instr(EmailTo, ?)>0 order by VOID"_s,
                {watermark, int(service.endsWith(u"WBYJ")), u"*%1-0-"_s.arg(service.section(u'|', 0, 0))});
            for (const QString &mail : mails) {
                m_wanted += service + u'|' + mail;
                watermark = mail.toInt();
            }
        }
    }
    QStringList alerts()
    {
        return m_office->rows(
            u"select ToMB || case when MsgContent like '%外部%' then '|WBYJ|' else '|NBYJ|' end"
            " || substr(MsgContent, instr(MsgContent, '标题：') + 3) from SMS_Queues"
            " order by OAID"_s);
    }
    /// In order within each user and service.
    void compare(QStringList found, QStringList wanted) const
    {
        for (QStringList *list : {&found, &wanted})
            std::ranges::stable_sort(*list, {}, [](const QString &row) { return row.section(u'|', 0, 1); });
        QVERIFY2(found == wanted, qPrintable(m_where + u" found:\n"_s + found.join(u'\n') + u"\nwanted:\n"_s +
                                             wanted.join(u'\n')));
    }

    /// The numbers that get the alerts of one more pass.
    QString alerted()
    {
        m_office->oa(u"delete from SMS_Queues"_s);
        m_alerts->pass();
        return m_office->table(u"SMS_Queues"_s, u"ToMB"_s).join(u' ');
    }
    /// The rule itself decides: EmailTo contains "*" + name + "-0-".
    static void compareWithTheRule(QStringList names, const QString &emailTo)
    {
        names.removeDuplicates();
        RecipientIndex index;
        QSet<int> expected;
        for (int i = 0; i < names.size(); ++i) {
            index.add(names[i], i);
            if (emailTo.contains(u'*' + names[i] + u"-0-"_s))
                expected.insert(i);
        }
        QSet<int> found;
        index.find(emailTo, [&](int number) { found.insert(number); });
        QVERIFY2(found == expected, qPrintable(emailTo + u" / "_s + names.join(u", "_s)));
    }

private slots:
    void sameAsReadingAll_data()
    {
        QTest::addColumn<bool>("changesOldMails");
        QTest::addColumn<MailHistory::Limits>("limits");
        // A change in an older mail may be noticed some passes later where not all is read by each.
        QTest::newRow("old mails stay") << false << smallLimits;
        QTest::newRow("old mails change") << true << smallLimits;
        QTest::newRow("old mails change, all are read") << true << MailHistory::Limits{};
    }
    void sameAsReadingAll()
    {
        QFETCH(bool, changesOldMails);
        QFETCH(MailHistory::Limits, limits);
        const bool atOnce = !changesOldMails || limits.newestMails != smallLimits.newestMails;
        qsizetype alerted = 0;
        for (quint32 seed = 0; seed < 6; ++seed) {
            m_random.seed(seed);
            m_highest = 0;
            m_watermarks.clear();
            m_wanted.clear();
            openOffice(limits);
            for (int i = 0; i < 4; ++i) {
                const QString user = u"u%1"_s.arg(i);
                m_office->addRow(u"VO_UserInfor"_s, u"UserName, Mobile, AccountState"_s,
                                 {user, user, mostlyOn()});
                m_office->addRow(u"SMS_IsOrder"_s, u"UserName, Type, IsOrder"_s,
                                 {user, anyType(), mostlyOn()});
            }
            for (int tick = 0; tick < 30; ++tick) {
                m_where = u"seed %1, tick %2"_s.arg(seed).arg(tick);
                for (int i = below(3); i >= 0; --i)
                    change(changesOldMails);
                readAll();
                for (int pass = 0; pass < (atOnce ? 1 : 30); ++pass)
                    m_alerts->pass();
                compare(alerts(), m_wanted);
                QStringList watermarks;
                for (auto service = m_watermarks.cbegin(); service != m_watermarks.cend(); ++service)
                    watermarks += service.key() + u"|%1"_s.arg(*service);
                compare(m_office->rows(
                            u"select UserName||'|'||Source||'|'||CurrentMaxOAID from SMS_Alert_MaxOAID"_s),
                        watermarks);
                if (QTest::currentTestFailed())
                    return;
            }
            alerted += m_wanted.size();
            QCOMPARE(m_office->console.takeLog(), QStringList());
        }
        QVERIFY2(alerted > 200, qPrintable(QString::number(alerted)));
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
            QStringList names;
            for (int i = 0; i < 6; ++i)
                names += text(5);
            compareWithTheRule(names, text(40));
        }
    }
};

QTEST_GUILESS_MAIN(NewMailAlertsTest)
#include "NewMailAlertsTest.moc"
