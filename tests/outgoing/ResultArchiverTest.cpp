#include "outgoing/ResultArchiver.h"
#include "tests/support/Office.h"

#include <QTest>

using namespace Qt::StringLiterals;

class ResultArchiverTest : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<Office> m_office;
    std::unique_ptr<ResultArchiver> m_archiver;

    [[nodiscard]] QStringList queue()
    {
        return m_office->rows(u"select ToMB from SMS_Queues order by OAID"_s);
    }

private slots:
    void init()
    {
        m_office = std::make_unique<Office>();
        m_archiver = std::make_unique<ResultArchiver>(m_office->session, m_office->console, m_office->faults,
                                                      m_office->clock);
    }
    void cleanup() { QCOMPARE(m_office->console.takeLog(), QStringList()); }

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
