#include "outgoing/ScheduledMessageExpander.h"
#include "outgoing/MessageEnqueue.h"
#include "outgoing/MessagePieces.h"
#include "tests/support/TestOffice.h"

#include <QTest>

using namespace Qt::StringLiterals;

class ScheduledMessageExpanderTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestOffice> m_office;
    std::unique_ptr<ScheduledMessageExpander> m_expander;

    void schedule(const QVariant &when, const QVariant &to, const QVariant &text)
    {
        m_office->oa(
            u"insert into SMS_WaitToSend (ToSendDT, FromUserName, ToUserList, ToNameList, CreateDT, MsgType,"
            " MsgContent) values (?, 'boss', ?, '某某', '2006-03-01 08:00:00', '3', ?)"_s,
            {when, to, text});
    }
    [[nodiscard]] QString now() const { return u"2006-03-05 07:08:09"_s; }
    [[nodiscard]] QStringList queue()
    {
        return m_office->rows(
            u"select SOAID, ToUser, ToMB, MsgContent, MsgStatus, MsgType, RetryCount from SMS_Queues"
            " order by OAID"_s);
    }
    [[nodiscard]] int count(const QString &table)
    {
        return m_office->rows(u"select count(*) from "_s + table).constFirst().toInt();
    }

private slots:
    void init()
    {
        m_office = std::make_unique<TestOffice>();
        m_office->oa(u"insert into VO_UserInfor (UserName, Mobile) values ('alice', '1001'), ('bob', '1002'),"
                     " ('mute', ''), ('deaf', null), (' eve', '1003'), ('o''neil', '1004')"_s);
        m_expander = std::make_unique<ScheduledMessageExpander>(m_office->session, m_office->console,
                                                                m_office->faults, m_office->clock);
    }
    void cleanup() { QCOMPARE(m_office->console.takeLog(), QStringList()); }

    void longTextToSeveralRecipients()
    {
        QString text;
        for (int i = 1; i <= 150; ++i)
            text += QChar(0x4e00 + i);
        schedule(now(), u"alice;bob*o'neil"_s, text);
        m_expander->pass();

        QCOMPARE(
            m_office->rows(u"select OAID, FromUser, ToUserList, ToNameList, CreateDT, MsgType, MsgContent"
                           " from SMS_SendList"_s),
            QStringList(u"1|boss|alice;bob*o'neil|某某|2006-03-01 08:00:00|3|"_s + text));
        const QStringList pieces = {text.left(70), u"续1："_s + text.mid(70, 67), u"续2："_s + text.mid(137)};
        QStringList wanted;
        for (const QString &user : {u"alice|1001"_s, u"bob|1002"_s, u"o'neil|1004"_s}) {
            for (const QString &piece : pieces)
                wanted += u"1|"_s + user + u'|' + piece + u"|0|3|0"_s;
        }
        QCOMPARE(queue(), wanted);
        QCOMPARE(count(u"SMS_WaitToSend"_s), 0);
    }

    void dueTest_data()
    {
        QTest::addColumn<QVariant>("when");
        QTest::addColumn<bool>("due");
        QTest::newRow("now") << QVariant(u"2006-03-05 07:08:09"_s) << true;
        QTest::newRow("the same second, later part") << QVariant(u"2006-03-05 07:08:09.900"_s) << true;
        QTest::newRow("one second ahead") << QVariant(u"2006-03-05 07:08:10"_s) << false;
        QTest::newRow("long ago") << QVariant(u"1999-12-31"_s) << true;
    }
    void dueTest()
    {
        QFETCH(QVariant, when);
        QFETCH(bool, due);
        schedule(when, u"alice"_s, u"x"_s);
        m_expander->pass();
        QCOMPARE(count(u"SMS_Queues"_s), due ? 1 : 0);
        QCOMPARE(count(u"SMS_WaitToSend"_s), due ? 0 : 1);
        m_office->clock.advanceSeconds(1);
        m_expander->pass();
        QCOMPARE(count(u"SMS_Queues"_s), 1);
    }

    void recipients_data()
    {
        QTest::addColumn<QString>("list");
        QTest::addColumn<QString>("queued");
        QTest::newRow("separators at both ends") << u";alice;bob;"_s << u"alice bob"_s;
        QTest::newRow("star") << u"alice*bob"_s << u"alice bob"_s;
        QTest::newRow("empty item") << u";;alice"_s << u"alice"_s;
        QTest::newRow("twice") << u"alice;alice"_s << u"alice alice"_s;
        QTest::newRow("unknown and without a number") << u"nobody;mute;deaf;bob"_s << u"bob"_s;
        QTest::newRow("nothing trimmed") << u" eve; alice"_s << u" eve"_s;
        QTest::newRow("quote") << u"o'neil"_s << u"o'neil"_s;
        QTest::newRow("injection") << u"x' or '1'='1"_s << u""_s;
        QTest::newRow("empty") << u""_s << u""_s;
        QTest::newRow("only separators") << u";*;*;"_s << u""_s;
    }
    void recipients()
    {
        QFETCH(QString, list);
        QFETCH(QString, queued);
        schedule(now(), list, u"x"_s);
        m_expander->pass();
        QCOMPARE(m_office->rows(u"select ToUser from SMS_Queues order by OAID"_s).join(u' '), queued);
        QCOMPARE(m_office->rows(u"select ToUserList from SMS_SendList"_s), QStringList(list));
        QCOMPARE(count(u"SMS_WaitToSend"_s), 0);
    }

    void nullAndEmptyText()
    {
        schedule(now(), u"alice"_s, u""_s);
        schedule(now(), u"alice"_s, QVariant());
        m_expander->pass();
        QCOMPARE(queue(), QStringList({u"1|alice|1001||0|3|0"_s, u"2|alice|1001|NULL|0|3|0"_s}));
    }

    void pieces_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QList<int>>("lengths");
        QTest::newRow("70") << QString(70, u'字') << QList<int>{70};
        QTest::newRow("71") << QString(71, u'字') << QList<int>{70, 4};
        QTest::newRow("two full pieces") << QString(137, u'字') << QList<int>{70, 70};
        QTest::newRow("marker of two digits")
            << QString(70 + 9 * 67 + 67, u'x') << QList<int>{70, 70, 70, 70, 70, 70, 70, 70, 70, 70, 70, 5};
        QTest::newRow("pair at the first cut") << QString(69, u'x') + u"😀y"_s << QList<int>{69, 6};
        QTest::newRow("pair at the second cut") << QString(70 + 66, u'x') + u"😀"_s << QList<int>{70, 69, 5};
        QTest::newRow("lone surrogates") << QString(100, QChar(0xd83d)) << QList<int>{70, 33};
        QTest::newRow("pair ends the text") << QString(68, u'x') + u"😀"_s << QList<int>{70};
    }
    void pieces()
    {
        QFETCH(QString, text);
        QFETCH(QList<int>, lengths);
        QList<int> found;
        QString joined;
        const QStringList cut = cutIntoPieces(text);
        for (int i = 0; i < cut.size(); ++i) {
            found += int(cut[i].size());
            const QString marker = i == 0 ? QString() : u"续%1："_s.arg(i);
            QVERIFY(cut[i].startsWith(marker));
            joined += cut[i].mid(marker.size());
        }
        QCOMPARE(found, lengths);
        QCOMPARE(joined, text);
    }

    void hugeTextKeepsNoReaderOut()
    {
        schedule(now(), u"alice"_s, QString(1000000, u'长'));
        // More than the database's cache holds; who is kept out gets a fault after a while.
        m_office->console.stopWhen = [this, asked = 0]() mutable {
            return ++asked % 1000 == 0 && count(u"SMS_Queues"_s) > 0;
        };
        m_expander->pass();
        QCOMPARE(m_office->rows(u"select max(length(MsgContent)) from SMS_Queues"_s), QStringList(u"70"_s));
        QCOMPARE(
            m_office->rows(u"select sum(length(replace(MsgContent, '续', ''))) >= 1000000 from SMS_Queues"_s),
            QStringList(u"1"_s));
    }

    void poisonRowsAreSetAsideOnceAndTheOthersGoOn()
    {
        schedule(QVariant(), u"alice"_s, u"no date"_s);
        schedule(u"soon"_s, u"alice"_s, u"no date either"_s);
        schedule(now(), QVariant(), u"no list"_s);
        m_office->oa(u"create trigger t before insert on SMS_SendList when new.MsgContent='refused' begin"
                     " select raise(abort, 'value refused'); end"_s);
        schedule(now(), u"alice"_s, u"refused"_s);
        schedule(now(), u"alice"_s, u"good"_s);
        m_expander->pass();
        m_expander->pass();
        QCOMPARE(m_office->rows(u"select MsgContent from SMS_Queues"_s), QStringList(u"good"_s));
        QCOMPARE(count(u"SMS_WaitToSend"_s), 4);
        const QStringList log = m_office->console.takeLog();
        QCOMPARE(log.size(), 4);
        for (int i = 0; i < 4; ++i)
            QVERIFY2(log[i].startsWith(u"记录 SMS_WaitToSend %1 无法处理"_s.arg(i + 1)), qPrintable(log[i]));
    }

    void faultBetweenAnyTwoWritesLeavesTheRowWhole_data()
    {
        QTest::addColumn<QString>("failing");
        const QString abort = u" begin select raise(abort, 'broken'); end"_s;
        QTest::newRow("send list") << u"before insert on SMS_SendList"_s + abort;
        QTest::newRow("a piece in the middle")
            << u"before insert on SMS_Queues when new.ToUser='bob'"_s + abort;
        QTest::newRow("delete") << u"before delete on SMS_WaitToSend"_s + abort;
        QTest::newRow("delete without effect")
            << u"before delete on SMS_WaitToSend begin select raise(ignore); end"_s;
    }
    void faultBetweenAnyTwoWritesLeavesTheRowWhole()
    {
        QFETCH(QString, failing);
        m_office->oa(u"create trigger t "_s + failing);
        schedule(now(), u"alice;bob"_s, u"x"_s);
        m_expander->pass();
        QCOMPARE(m_office->console.takeLog().size(), 1);
        QCOMPARE(count(u"SMS_SendList"_s) + count(u"SMS_Queues"_s), 0);
        QCOMPARE(count(u"SMS_WaitToSend"_s), 1);
        m_office->oa(u"drop trigger t"_s);
        m_expander->pass();
        QCOMPARE(count(u"SMS_Queues"_s), 2);
        QCOMPARE(count(u"SMS_WaitToSend"_s), 0);
    }

    void failedLookupDropsNoRecipient()
    {
        schedule(now(), u"alice"_s, u"x"_s);
        m_office->oa(u"alter table VO_UserInfor rename to gone"_s);
        m_expander->pass();
        QCOMPARE(m_office->console.takeLog().size(), 1);
        QCOMPARE(count(u"SMS_WaitToSend"_s), 1);
        m_office->oa(u"alter table gone rename to VO_UserInfor"_s);
        m_expander->pass();
        QCOMPARE(count(u"SMS_Queues"_s), 1);
    }

    void rowChangedSinceThePassBeganIsLeftAlone_data()
    {
        QTest::addColumn<QString>("change");
        QTest::newRow("withdrawn") << u"delete from SMS_WaitToSend where OAID=2"_s;
        QTest::newRow("postponed") << u"update SMS_WaitToSend set ToSendDT='2006-03-06' where OAID=2"_s;
        QTest::newRow("without recipients") << u"update SMS_WaitToSend set ToUserList=null where OAID=2"_s;
    }
    void rowChangedSinceThePassBeganIsLeftAlone()
    {
        QFETCH(QString, change);
        schedule(now(), u"alice"_s, u"1"_s);
        schedule(now(), u"alice"_s, u"2"_s);
        m_office->console.stopWhen = [&] {
            if (count(u"SMS_Queues"_s) == 1)
                m_office->oa(change);
            return false;
        };
        m_expander->pass();
        QCOMPARE(m_office->rows(u"select MsgContent from SMS_Queues"_s), QStringList(u"1"_s));
        QCOMPARE(count(u"SMS_SendList"_s), 1);
    }

    void stopLeavesEachRowWhole()
    {
        for (const int row : {1, 2})
            schedule(now(), u"alice;bob"_s, QString(80, QChar(u'0' + row)));
        for (int last = 0; count(u"SMS_WaitToSend"_s) > 0; ++last) {
            int asked = 0;
            m_office->console.stopWhen = [&] { return ++asked > last; };
            m_expander->pass();
            QVERIFY(m_office->session.OpenDB());
            QCOMPARE(count(u"SMS_Queues"_s), 4 * (2 - count(u"SMS_WaitToSend"_s)));
            QCOMPARE(count(u"SMS_SendList"_s), 2 - count(u"SMS_WaitToSend"_s));
        }
    }

    void singleMessageIsQueuedWhole()
    {
        const QString text = QString(100, u'长');
        sysSendSMS(m_office->session.Conn(), u"1002"_s, text);
        sysSendSMS(m_office->session.Conn(), u"unknown'"_s, u""_s);
        QCOMPARE(queue(), QStringList({u"-1|bob|1002|%1|0|0|0"_s.arg(text), u"-1||unknown'||0|0|0"_s}));
    }
};

QTEST_GUILESS_MAIN(ScheduledMessageExpanderTest)
#include "ScheduledMessageExpanderTest.moc"
