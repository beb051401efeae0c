#include "tests/support/Office.h"

#include <QTest>

using namespace Qt::StringLiterals;

class TaskGuardTest : public QObject
{
    Q_OBJECT

private slots:
    void faultIsToldOnceWhileItLastsAndOnceWhenItIsOver()
    {
        Office office;
        QString cause = u"甲"_s;
        const auto tick = [&] {
            office.guard.runPass(u"任务"_s, [&] {
                if (!cause.isEmpty())
                    throw Fault(cause);
            });
        };
        tick();
        tick();
        QCOMPARE(office.console.takeLog(), QStringList(u"任务失败：甲"_s));
        cause = u"乙"_s;
        tick();
        QCOMPARE(office.console.takeLog(), QStringList(u"任务失败：乙"_s));
        cause.clear();
        tick();
        tick();
        QCOMPARE(office.console.takeLog(), QStringList(u"任务恢复正常"_s));
    }

    void manyRowsSetAsideAreSummedUp()
    {
        Office office;
        for (int rows = 19; rows <= 25; rows += 6) {
            office.guard.run(u"任务"_s, [&] {
                for (int row = 0; row < rows; ++row)
                    office.faults.rowSetAside(u"T %1"_s.arg(row), u"甲"_s);
            });
        }
        QCOMPARE(office.console.takeLog().size(), 25);
        office.guard.run(u"任务"_s, [&] {
            for (int row = 0; row < 100; ++row)
                office.faults.rowSetAside(u"T %1"_s.arg(row), u"乙"_s);
        });
        const QStringList log = office.console.takeLog();
        QCOMPARE(log.size(), 21);
        QCOMPARE(log.last(), u"另有 55 条记录无法处理，最后一条：记录 T 99 无法处理：乙"_s);
    }

    void lockedDatabaseCostsOneWaitATick()
    {
        Office office;
        office.session.Conn().execute(u"pragma busy_timeout=50"_s);
        office.oa(u"begin exclusive"_s);
        int reached = 0;
        const auto tick = [&](const QString &task) {
            office.guard.runPass(task, [&] {
                ++reached;
                office.session.Conn().execute(u"update SMS_Queues set MsgStatus=8"_s);
            });
        };
        tick(u"甲"_s);
        tick(u"乙"_s);
        QCOMPARE(reached, 1);
        QCOMPARE(office.console.takeLog().size(), 1);
        office.oa(u"rollback"_s);
        QTRY_VERIFY(reached == 2 || (tick(u"甲"_s), reached == 2));
        QCOMPARE(office.console.takeLog(), QStringList(u"甲恢复正常"_s));
    }

    void anyExceptionEndsHereAndNoPassBeginsOnceTheProgramIsToEnd()
    {
        Office office;
        office.guard.run(u"任务"_s, [] { throw std::bad_alloc(); });
        QCOMPARE(office.console.takeLog().size(), 1);
        office.console.stopWhen = [] { return true; };
        office.guard.runPass(u"任务"_s, [] { QFAIL("began"); });
    }
};

QTEST_GUILESS_MAIN(TaskGuardTest)
#include "TaskGuardTest.moc"
