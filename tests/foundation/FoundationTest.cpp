#include "database/Transaction.h"
#include "foundation/DateTimeValue.h"
#include "foundation/NumericText.h"
#include "foundation/UserDirectory.h"
#include "tests/support/Office.h"

#include <QTest>

using namespace Qt::StringLiterals;

/// The guard of the passes, and what values that come as text mean.
class FoundationTest : public QObject
{
    Q_OBJECT

private slots:
    void faultIsToldOnceWhileItLastsAndOnceWhenItIsOver()
    {
        Office office;
        for (const QString &cause : {u"甲"_s, u"甲"_s, u"乙"_s, QString(), QString()}) {
            office.guard.runPass(u"任务"_s, [&] {
                if (!cause.isEmpty())
                    throw Fault(cause);
            });
        }
        QCOMPARE(office.console.takeLog(),
                 (QStringList{u"任务失败：甲"_s, u"任务失败：乙"_s, u"任务恢复正常"_s}));
    }

    void manyRowsSetAsideAreSummedUp()
    {
        Office office;
        const auto setAside = [&](int rows, const QString &cause) {
            office.guard.run(u"任务"_s, [&] {
                for (int row = 0; row < rows; ++row)
                    office.faults.rowSetAside(u"T %1"_s.arg(row), cause);
            });
            return office.console.takeLog();
        };
        QCOMPARE(setAside(19, u"甲"_s).size(), 19);
        QCOMPARE(setAside(25, u"甲"_s).size(), 6); // the others are known
        const QStringList log = setAside(100, u"乙"_s);
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

    void failedLookupGivesNothingButForbidsTheCommitAroundIt()
    {
        Office office;
        office.oa(u"alter table VO_UserInfor rename to gone"_s);
        Connection &connection = office.session.Conn();
        QVERIFY_EXCEPTION_THROWN(static_cast<void>(ShowUserName(connection, u"alice"_s)), DatabaseFault);
        Transaction transaction(connection);
        QCOMPARE(getUserMB(connection, u"alice"_s), u""_s);
        QVERIFY_EXCEPTION_THROWN(transaction.commit(), DatabaseFault);
    }

    void wholeNumbers()
    {
        // Halves to even.
        const QString texts =
            u"5>5 2.5>2 3.5>4 0.4>0 -2.5>-2 \t32\n>32 .6>1 2147483647>2147483647 2147483648>"
            " 9999999999999999999999999999999>  abc> > 1e3> －５．５>-6"_s;
        for (const QString &row : texts.split(u' ', Qt::SkipEmptyParts)) {
            const auto value = numericValue(row.section(u'>', 0, 0));
            const auto whole = value ? wholeNumber(*value) : std::nullopt;
            QCOMPARE(row.section(u'>', 0, 0) + u'>' + (whole ? QString::number(*whole) : QString()), row);
        }
    }

    void dateTimes()
    {
        const QDateTime morning({2006, 3, 5}, {7, 8, 9});
        const QDateTime midnight({2006, 3, 5}, {0, 0});
        const QList<std::pair<QVariant, QDateTime>> values{
            {u"2006-03-05 07:08:09"_s, morning},
            {u"2006-03-05T07:08:09.999"_s, morning},
            {u" 2006/3/5 7:8:9 "_s, morning},
            {u"2006-03-05 07:08"_s, morning.addSecs(-9)},
            {u"2006-03-05"_s, midnight},
            {morning, morning},
            {QDate(2006, 3, 5), midnight},
            {morning.toUTC().toString(Qt::ISODate), morning},
            {morning.toOffsetFromUtc(8 * 3600).toString(Qt::ISODate), morning},
            {morning.toOffsetFromUtc(-5 * 3600).toString(Qt::ISODate), morning},
            {{}, {}},
            {u""_s, {}},
            {u"tomorrow"_s, {}},
            {u"2006-02-30 01:00:00"_s, {}},
            {u"2006-02-03 25:00:00"_s, {}},
            {17, {}}};
        for (const auto &[value, wanted] : values)
            QCOMPARE(dateTimeValue(value).value_or(QDateTime()), wanted);
    }
};

QTEST_GUILESS_MAIN(FoundationTest)
#include "FoundationTest.moc"
