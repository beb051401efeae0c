#include "tests/support/Office.h"

#include <QTest>

using namespace Qt::StringLiterals;

class ResultArchiverTest : public QObject
{
    Q_OBJECT

private slots:
    void manyRowsCostTwoStatementsEach()
    {
        Office office;
        office.oa(u"insert into SMS_Queues (ToMB, MsgStatus) with recursive n(i) as (select 1 union all"
                  " select i+1 from n where i<1000) select i, 8 from n"_s);
        const qint64 before = office.session.Conn().statementsRun();
        office.passes().archive();
        QVERIFY(office.session.Conn().statementsRun() - before < 2100);
        QCOMPARE(office.table(u"SMS_Queues"_s, u"ToMB"_s), QStringList());
        QCOMPARE(office.rows(u"select count(*), count(distinct ToMB) from SMS_ResultDetail"_s),
                 QStringList(u"1000|1000"_s));
    }

    void stopLeavesEachRowInOneTable()
    {
        Office office;
        const QStringList all{u"1"_s, u"2"_s, u"3"_s};
        office.add(u"SMS_Queues"_s, u"ToMB, MsgStatus"_s, {u"1|8"_s, u"2|8"_s, u"3|8"_s});
        for (int last = 0; office.table(u"SMS_ResultDetail"_s, u"ToMB"_s) != all; ++last) {
            int asked = 0;
            office.console.stopWhen = [&] { return ++asked > last; };
            office.passes().archive();
            QCOMPARE(office.rows(u"select ToMB from SMS_Queues union all select ToMB from SMS_ResultDetail"
                                 " order by ToMB"_s),
                     all);
        }
        QCOMPARE(office.console.takeLog(), QStringList());
    }
};

QTEST_GUILESS_MAIN(ResultArchiverTest)
#include "ResultArchiverTest.moc"
