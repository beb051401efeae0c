#include "alerts/NewMailAlerts.h"
#include "alerts/AlertText.h"
#include "alerts/SkipOldMail.h"
#include "tests/support/TestOffice.h"

#include <QFile>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

const QString internalStart = u"【办公信息】您收到一封内部新邮件，发件人："_s;
const QString externalStart = u"【办公信息】您收到一封外部新邮件，发件人："_s;

} // namespace

class NewMailAlertsTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestOffice> m_office;
    std::unique_ptr<NewMailAlerts> m_alerts;

    void user(const QVariant &name, const QVariant &mobile, const QString &state = u"1"_s)
    {
        m_office->oa(
            u"insert into VO_UserInfor (UserName, Mobile, TureName, AccountState) values (?, ?, ?, ?)"_s,
            {name, mobile, name.isNull() ? QVariant() : QVariant(name.toString().toUpper()), state});
    }
    void mail(int number, const QVariant &to, const QVariant &from = u"bob"_s,
              const QVariant &subject = u"s"_s, const QVariant &source = u"1"_s,
              const QVariant &status = u"1"_s)
    {
        m_office->oa(
            u"insert into VO_Email (VOID, EmailTo, EmailFrom, EmailSubject, EmailSource, EmailStatus)"
            " values (?, ?, ?, ?, ?, ?)"_s,
            {number, to, from, subject, source, status});
    }
    QStringList alerts()
    {
        return m_office->rows(u"select ToMB, MsgContent from SMS_Queues order by OAID"_s);
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
        m_office = std::make_unique<TestOffice>();
        m_alerts = std::make_unique<NewMailAlerts>(m_office->session, m_office->console, m_office->faults);
        m_office->oa(
            u"insert into SMS_Order (OrderName, IsOrder, isPulic) values ('NBYJ', '1', '1'), ('WBYJ', '1', '1')"_s);
    }
    void cleanup() { QCOMPARE(m_office->console.takeLog(), QStringList()); }

    void textOfAnAlert_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QVariant>("from");
        QTest::addColumn<QVariant>("subject");
        QTest::addColumn<QString>("text");
        const QString title = u" 邮件标题："_s;
        QTest::newRow("internal") << u"1"_s << QVariant(u"bob"_s) << QVariant(u"会议"_s)
                                  << internalStart + u"BOB"_s + title + u"会议"_s;
        QTest::newRow("internal, the server's") << u"0"_s << QVariant(u"800"_s) << QVariant(u"会议"_s)
                                                << internalStart + u"服务器"_s + title + u"会议"_s;
        QTest::newRow("internal, unknown sender")
            << u"1"_s << QVariant(u"0800"_s) << QVariant(u"会议"_s) << internalStart + title + u"会议"_s;
        QTest::newRow("internal, null sender and subject")
            << u"1"_s << QVariant() << QVariant() << internalStart + title;
        QTest::newRow("internal, sender with a quote")
            << u"1"_s << QVariant(u"o'x"_s) << QVariant(u"'"_s) << internalStart + title + u"'"_s;
        QTest::newRow("external") << u"2"_s << QVariant(u"a@b.example"_s) << QVariant(u"hi"_s)
                                  << externalStart + u"a@b.example"_s + title + u"hi"_s;
        QTest::newRow("external, 800") << u"2"_s << QVariant(u"800"_s) << QVariant(u"hi"_s)
                                       << externalStart + u"800"_s + title + u"hi"_s;
        QTest::newRow("external, null sender")
            << u"2"_s << QVariant() << QVariant(u"hi"_s) << externalStart + title + u"hi"_s;
        QTest::newRow("70 characters") << u"1"_s << QVariant() << QVariant(QString(43, u'字'))
                                       << internalStart + title + QString(43, u'字');
        QTest::newRow("71 characters") << u"1"_s << QVariant() << QVariant(QString(44, u'字'))
                                       << internalStart + title + QString(43, u'字');
        QTest::newRow("pair at the end") << u"1"_s << QVariant() << QVariant(QString(41, u'字') + u"😀"_s)
                                         << internalStart + title + QString(41, u'字') + u"😀"_s;
        QTest::newRow("pair across the end") << u"1"_s << QVariant() << QVariant(QString(42, u'字') + u"😀"_s)
                                             << internalStart + title + QString(42, u'字');
        QTest::newRow("huge sender") << u"2"_s << QVariant(QString(100000, u'x')) << QVariant(u"hi"_s)
                                     << externalStart + QString(49, u'x');
    }
    void textOfAnAlert()
    {
        QFETCH(QString, source);
        QFETCH(QVariant, from);
        QFETCH(QVariant, subject);
        QFETCH(QString, text);
        user(u"bob"_s, u"1"_s);
        mail(5, u"*bob-0-0-0*"_s, from, subject, source);
        m_alerts->pass();
        QCOMPARE(alerts(), QStringList(u"1|"_s + text));
        m_alerts->pass();
        QCOMPARE(alerts().size(), 1);
    }

    void mailsThatAreAlerted_data()
    {
        QTest::addColumn<QVariant>("to");
        QTest::addColumn<QVariant>("source");
        QTest::addColumn<QVariant>("status");
        QTest::addColumn<QStringList>("after"); // watermarks
        const QVariant bob(u"*bob-0-0-0*"_s);
        const QVariant one(u"1"_s);
        const auto marks = [](int internal, int external) {
            return QStringList({u"bob|NBYJ|%1"_s.arg(internal), u"bob|WBYJ|%1"_s.arg(external)});
        };
        QTest::newRow("internal") << bob << one << one << marks(7, 0);
        QTest::newRow("external") << bob << QVariant(u"2"_s) << one << marks(0, 7);
        QTest::newRow("source empty") << bob << QVariant(u""_s) << one << marks(7, 0);
        QTest::newRow("source null") << bob << QVariant() << one << marks(0, 0);
        QTest::newRow("status 0") << bob << one << QVariant(u"0"_s) << marks(0, 0);
        QTest::newRow("status null") << bob << one << QVariant() << marks(0, 0);
        QTest::newRow("to null") << QVariant() << one << one << marks(0, 0);
        QTest::newRow("to others") << QVariant(u"*Bob-0-0-0*bob1-0-0-0*bob-1-0-0*"_s) << one << one
                                   << marks(0, 0);
        QTest::newRow("two entries") << QVariant(u"*bob-0-0-0*bob-0-0-0*"_s) << one << one << marks(7, 0);
    }
    void mailsThatAreAlerted()
    {
        QFETCH(QVariant, to);
        QFETCH(QVariant, source);
        QFETCH(QVariant, status);
        QFETCH(QStringList, after);
        user(u"bob"_s, u"1"_s);
        mail(7, to, u"bob"_s, u"s"_s, source, status);
        m_alerts->pass();
        QCOMPARE(watermarks(), after);
        QCOMPARE(alerts().size(), after.join(u' ').count(u"|7"_s));
    }

    void usersThatAreAlerted()
    {
        user(u"-a*b-"_s, u"1"_s);
        user({}, u"2"_s);
        user(u"carol"_s, {});
        user(u"dave"_s, u""_s);
        user(u"eve"_s, u"5"_s, u"0"_s);
        user(u"o'neil"_s, u"6"_s);
        user(u""_s, u"7"_s);
        mail(1, u"*-a*b--0-0-0*carol-0-0-0*dave-0-0-0*eve-0-0-0*o'neil-0-0-0*-0-0-0*"_s);
        m_alerts->pass();
        QCOMPARE(receivers(), QStringList({u"1"_s, u"6"_s, u"7"_s}));
        QCOMPARE(watermarks(), QStringList({u"|NBYJ|1"_s, u"|WBYJ|0"_s, u"-a*b-|NBYJ|1"_s, u"-a*b-|WBYJ|0"_s,
                                            u"o'neil|NBYJ|1"_s, u"o'neil|WBYJ|0"_s}));
    }

    void orderIsByUserThenServiceThenMail()
    {
        user(u"zoe"_s, u"1"_s);
        user(u"amy"_s, u"2"_s);
        const QString both = u"*amy-0-0-0*zoe-0-0-0*"_s;
        mail(9, both, u"x"_s, u"9"_s);
        mail(2, both, u"x"_s, u"2"_s, u"2"_s);
        mail(4, both, u"x"_s, u"4"_s);
        mail(6, u"*amy-0-0-0*"_s, u"x"_s, u"6"_s, u"2"_s);
        m_alerts->pass();
        QCOMPARE(
            m_office->rows(u"select ToMB, ToUser, SOAID, MsgStatus, substr(MsgContent, -1) from SMS_Queues"
                           " order by OAID"_s),
            QStringList({u"1|zoe|-1|0|4"_s, u"1|zoe|-1|0|9"_s, u"1|zoe|-1|0|2"_s, u"2|amy|-1|0|4"_s,
                         u"2|amy|-1|0|9"_s, u"2|amy|-1|0|2"_s, u"2|amy|-1|0|6"_s}));
        QCOMPARE(watermarks(),
                 QStringList({u"amy|NBYJ|9"_s, u"amy|WBYJ|6"_s, u"zoe|NBYJ|9"_s, u"zoe|WBYJ|2"_s}));
    }

    void watermarkRows_data()
    {
        QTest::addColumn<QStringList>("before"); // UserName|Source|CurrentMaxOAID
        QTest::addColumn<QStringList>("after");
        QTest::addColumn<int>("alerted"); // of the mails 1, 2 and 3
        QTest::newRow("missing") << QStringList() << QStringList(u"bob|NBYJ|3"_s) << 3;
        QTest::newRow("below") << QStringList(u"bob|NBYJ|1"_s) << QStringList(u"bob|NBYJ|3"_s) << 2;
        QTest::newRow("at the highest") << QStringList(u"bob|NBYJ|3"_s) << QStringList(u"bob|NBYJ|3"_s) << 0;
        QTest::newRow("above") << QStringList(u"bob|NBYJ|9"_s) << QStringList(u"bob|NBYJ|9"_s) << 0;
        QTest::newRow("null") << QStringList(u"bob|NBYJ|NULL"_s) << QStringList(u"bob|NBYJ|3"_s) << 3;
        QTest::newRow("negative") << QStringList(u"bob|NBYJ|-5"_s) << QStringList(u"bob|NBYJ|3"_s) << 3;
        QTest::newRow("another's") << QStringList(u"Bob|NBYJ|2"_s)
                                   << QStringList({u"Bob|NBYJ|2"_s, u"bob|NBYJ|3"_s}) << 3;
        QTest::newRow("two: the first counts and changes")
            << QStringList({u"bob|NBYJ|2"_s, u"bob|NBYJ|0"_s})
            << QStringList({u"bob|NBYJ|3"_s, u"bob|NBYJ|0"_s}) << 1;
    }
    void watermarkRows()
    {
        QFETCH(QStringList, before);
        QFETCH(QStringList, after);
        QFETCH(int, alerted);
        m_office->oa(u"update SMS_Order set IsOrder='0' where OrderName='WBYJ'"_s);
        user(u"bob"_s, u"1"_s);
        for (const int number : {1, 2, 3})
            mail(number, u"*bob-0-0-0*"_s);
        for (const QString &row : before) {
            const QStringList values = row.split(u'|');
            m_office->oa(
                u"insert into SMS_Alert_MaxOAID (UserName, Source, CurrentMaxOAID) values (?, ?, ?)"_s,
                {values[0], values[1], values[2] == u"NULL"_s ? QVariant() : QVariant(values[2].toInt())});
        }
        m_alerts->pass();
        QCOMPARE(watermarks(), after);
        QCOMPARE(alerts().size(), alerted);
    }

    void unchangedWatermarksAreNotWrittenAgain()
    {
        user(u"bob"_s, u"1"_s);
        m_alerts->pass();
        QCOMPARE(watermarks(), QStringList({u"bob|NBYJ|0"_s, u"bob|WBYJ|0"_s}));
        m_office->oa(
            u"create trigger t before update on SMS_Alert_MaxOAID begin select raise(abort, 'written'); end"_s);
        mail(1, u"*carol-0-0-0*"_s);
        m_alerts->pass();
        QCOMPARE(watermarks(), QStringList({u"bob|NBYJ|0"_s, u"bob|WBYJ|0"_s}));
    }

    void bodiesAreNotRead()
    {
        m_office->oa(u"alter table VO_Email drop column EmailContent"_s);
        user(u"bob"_s, u"1"_s);
        mail(1, u"*bob-0-0-0*"_s);
        m_alerts->pass();
        QCOMPARE(alerts().size(), 1);
    }

    void unsubscribedUserKeepsTheWatermark()
    {
        user(u"bob"_s, u"1"_s);
        mail(1, u"*bob-0-0-0*"_s);
        m_alerts->pass();
        m_office->oa(u"insert into SMS_IsOrder (UserName, Type, IsOrder) values ('bob', 'NBYJ', '0')"_s);
        mail(2, u"*bob-0-0-0*"_s);
        m_alerts->pass();
        QCOMPARE(watermarks(), QStringList({u"bob|NBYJ|1"_s, u"bob|WBYJ|0"_s}));
        m_office->oa(u"update SMS_IsOrder set IsOrder='1'"_s);
        mail(3, u"*bob-0-0-0*"_s);
        m_alerts->pass();
        QCOMPARE(watermarks(), QStringList({u"bob|NBYJ|3"_s, u"bob|WBYJ|0"_s}));
        QCOMPARE(alerts().size(), 3);
    }

    void secondAccountOfANameGetsNoSecondAlert()
    {
        user(u"bob"_s, u"1"_s);
        user(u"bob"_s, u"2"_s);
        mail(1, u"*bob-0-0-0*"_s);
        m_alerts->pass();
        m_alerts->pass();
        QCOMPARE(receivers(), QStringList(u"1"_s));
        QCOMPARE(watermarks(), QStringList({u"bob|NBYJ|1"_s, u"bob|WBYJ|0"_s}));
    }

    void faultOfOneUserKeepsNobodyElseFromTheirs_data()
    {
        QTest::addColumn<QString>("breaking");
        QTest::addColumn<QString>("mending");
        const QString drop = u"drop trigger t"_s;
        QTest::newRow("second alert")
            << u"create trigger t before insert on SMS_Queues when new.ToMB='2' and new.MsgContent like '%b2'"
               " begin select raise(abort, 'broken'); end"_s
            << drop;
        QTest::newRow("watermark")
            << u"create trigger t before insert on SMS_Alert_MaxOAID when new.UserName='bob'"
               " and new.Source='NBYJ' begin select raise(abort, 'broken'); end"_s
            << drop;
        QTest::newRow("watermark that is no number")
            << u"insert into SMS_Alert_MaxOAID (UserName, Source, CurrentMaxOAID) values ('bob', 'NBYJ', 'x')"_s
            << u"delete from SMS_Alert_MaxOAID where CurrentMaxOAID='x'"_s;
    }
    void faultOfOneUserKeepsNobodyElseFromTheirs()
    {
        QFETCH(QString, breaking);
        QFETCH(QString, mending);
        user(u"amy"_s, u"1"_s);
        user(u"bob"_s, u"2"_s);
        user(u"carol"_s, u"3"_s);
        mail(1, u"*amy-0-0-0*bob-0-0-0*carol-0-0-0*"_s, u"x"_s, u"b1"_s);
        mail(2, u"*bob-0-0-0*"_s, u"x"_s, u"b2"_s);
        mail(3, u"*bob-0-0-0*"_s, u"x"_s, u"e3"_s, u"2"_s);
        m_office->oa(breaking);
        m_alerts->pass();
        m_alerts->pass();
        QCOMPARE(receivers(), QStringList({u"1"_s, u"2"_s, u"3"_s})); // bob's is the external one
        const QStringList log = m_office->console.takeLog();
        QCOMPARE(log.size(), 1);
        QVERIFY2(log[0].contains(u"bob"_s) && log[0].contains(u"NBYJ"_s), qPrintable(log[0]));
        m_office->oa(mending);
        m_alerts->pass();
        QCOMPARE(receivers(), QStringList({u"1"_s, u"2"_s, u"3"_s, u"2"_s, u"2"_s}));
        QCOMPARE(m_office->console.takeLog().size(), 1);
    }

    void lostDatabaseEndsThePass()
    {
        user(u"amy"_s, u"1"_s);
        mail(1, u"*amy-0-0-0*"_s);
        QVERIFY(QFile::rename(m_office->databaseFile(), m_office->databaseFile() + u".away"_s));
        QVERIFY_EXCEPTION_THROWN(m_alerts->pass(), DatabaseFault);
        QVERIFY(QFile::rename(m_office->databaseFile() + u".away"_s, m_office->databaseFile()));
        QVERIFY(m_office->session.OpenDB());
        m_alerts->pass();
        QCOMPARE(alerts().size(), 1);
    }

    void stopEndsThePassBetweenUsers()
    {
        user(u"amy"_s, u"1"_s);
        user(u"bob"_s, u"2"_s);
        mail(1, u"*amy-0-0-0*bob-0-0-0*"_s);
        m_office->console.stopWhen = [this] { return !alerts().isEmpty(); };
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
        QCOMPARE(alerts(), QStringList());
        mail(9, u"*bob-0-0-0*"_s);
        m_alerts->pass();
        QCOMPARE(receivers(), QStringList(u"1"_s));
        QCOMPARE(watermarks(),
                 QStringList({u"amy|NBYJ|8"_s, u"amy|WBYJ|8"_s, u"bob|NBYJ|9"_s, u"bob|WBYJ|8"_s}));
    }
};

QTEST_GUILESS_MAIN(NewMailAlertsTest)
#include "NewMailAlertsTest.moc"
