#include "outgoing/ResultArchiver.h"
#include "tests/support/TestOffice.h"

#include <QTest>

using namespace Qt::StringLiterals;

class ResultArchiverTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestOffice> m_office;
    std::unique_ptr<ResultArchiver> m_archiver;

    [[nodiscard]] QStringList queue()
    {
        return m_office->rows(u"select ToMB from SMS_Queues order by OAID"_s);
    }

private slots:
    void init()
    {
        m_office = std::make_unique<TestOffice>();
        m_archiver = std::make_unique<ResultArchiver>(m_office->session, m_office->console, m_office->faults,
                                                      m_office->clock);
    }
    void cleanup() { QCOMPARE(m_office->console.takeLog(), QStringList()); }

    void outcomeByStatus_data()
    {
        QTest::addColumn<QVariant>("status");
        QTest::addColumn<QString>("success"); // empty: not archived
        QTest::newRow("sent") << QVariant(8) << u"1"_s;
        QTest::newRow("failed") << QVariant(4) << u"0"_s;
        QTest::newRow("failed, padded") << QVariant(u"4   "_s) << u"0"_s;
        QTest::newRow("another program's") << QVariant(u"44"_s) << u"1"_s;
        QTest::newRow("waiting") << QVariant(u"0"_s) << u""_s;
        QTest::newRow("null") << QVariant() << u""_s;
    }
    void outcomeByStatus()
    {
        QFETCH(QVariant, status);
        QFETCH(QString, success);
        m_office->oa(
            u"insert into SMS_Queues (SOAID, ToUser, ToMB, MsgContent, MsgStatus, MsgType, RetryCount)"
            " values (7, 'o''neil', '1001', null, ?, '3', 0)"_s,
            {status});
        m_archiver->pass();
        m_archiver->pass();
        const QStringList results = m_office->rows(
            u"select SOAID, ToUser, ToMB, SendOutDT, IsSuccess, MsgContent from SMS_ResultDetail"_s);
        QCOMPARE(results, success.isEmpty()
                              ? QStringList()
                              : QStringList(u"7|o'neil|1001|2006-03-05 07:08:09|%1|NULL"_s.arg(success)));
        QCOMPARE(queue().size(), success.isEmpty() ? 1 : 0);
    }

    void faultLeavesTheRowInTheQueueAloneAndTheOthersGoOn_data()
    {
        QTest::addColumn<QString>("failing");
        const QString abort = u" begin select raise(abort, 'broken'); end"_s;
        QTest::newRow("copy") << u"before insert on SMS_ResultDetail when new.ToMB='2'"_s + abort;
        QTest::newRow("delete") << u"before delete on SMS_Queues when old.ToMB='2'"_s + abort;
        QTest::newRow("delete without effect")
            << u"before delete on SMS_Queues when old.ToMB='2' begin select raise(ignore); end"_s;
    }
    void faultLeavesTheRowInTheQueueAloneAndTheOthersGoOn()
    {
        QFETCH(QString, failing);
        m_office->oa(u"insert into SMS_Queues (ToMB, MsgStatus) values ('1', 8), ('2', 8), ('3', 4)"_s);
        m_office->oa(u"create trigger t "_s + failing);
        m_archiver->pass();
        m_archiver->pass();
        QCOMPARE(m_office->console.takeLog().size(), 1);
        QCOMPARE(queue(), QStringList(u"2"_s));
        QCOMPARE(m_office->rows(u"select ToMB from SMS_ResultDetail order by OAID"_s),
                 QStringList({u"1"_s, u"3"_s}));
        m_office->oa(u"drop trigger t"_s);
        m_archiver->pass();
        QCOMPARE(queue(), QStringList());
        QCOMPARE(m_office->rows(u"select ToMB from SMS_ResultDetail order by OAID"_s),
                 QStringList({u"1"_s, u"3"_s, u"2"_s}));
    }

    void manyRowsCostTwoStatementsEach()
    {
        m_office->oa(u"insert into SMS_Queues (ToMB, MsgStatus) with recursive n(i) as (select 1 union all"
                     " select i+1 from n where i<1000) select i, 8 from n"_s);
        const qint64 before = m_office->session.Conn().statementsRun();
        m_archiver->pass();
        QVERIFY(m_office->session.Conn().statementsRun() - before < 2100);
        QCOMPARE(queue(), QStringList());
        QCOMPARE(m_office->rows(u"select count(*), count(distinct ToMB) from SMS_ResultDetail"_s),
                 QStringList(u"1000|1000"_s));
    }

    void stopLeavesEachRowInOneTable()
    {
        m_office->oa(u"insert into SMS_Queues (ToMB, MsgStatus) values (1, 8), (2, 8), (3, 8)"_s);
        for (int last = 0; !queue().isEmpty(); ++last) {
            int asked = 0;
            m_office->console.stopWhen = [&] { return ++asked > last; };
            m_archiver->pass();
            QCOMPARE(m_office->rows(u"select ToMB from SMS_Queues union all select ToMB from SMS_ResultDetail"
                                    " order by ToMB"_s),
                     QStringList({u"1"_s, u"2"_s, u"3"_s}));
        }
    }
};

QTEST_GUILESS_MAIN(ResultArchiverTest)
#include "ResultArchiverTest.moc"
