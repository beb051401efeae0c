#include "foundation/DateTimeValue.h"
#include "foundation/GetFormateTime.h"
#include "foundation/NumericText.h"
#include "tests/support/ManualClock.h"

#include <QTest>

using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(std::optional<qint32>)

class TextValuesTest : public QObject
{
    Q_OBJECT

private slots:
    void timestampText()
    {
        QCOMPARE(GetFormateTime(ManualClock(QDateTime({2006, 3, 5}, {7, 8, 9}))), u"2006-03-05 07:08:09"_s);
        QCOMPARE(GetFormateTime(ManualClock(QDateTime({2006, 12, 31}, {23, 59, 59, 999}))),
                 u"2006-12-31 23:59:59"_s);
    }

    void wholeNumbers_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<std::optional<qint32>>("wanted");
        const auto none = std::optional<qint32>();
        QTest::newRow("plain") << u"5"_s << std::optional(5);
        QTest::newRow("half to even down") << u"2.5"_s << std::optional(2);
        QTest::newRow("half to even up") << u"3.5"_s << std::optional(4);
        QTest::newRow("below half") << u"0.4"_s << std::optional(0);
        QTest::newRow("negative half") << u"-2.5"_s << std::optional(-2);
        QTest::newRow("blanks") << u" 32 "_s << std::optional(32);
        QTest::newRow("no leading digit") << u".6"_s << std::optional(1);
        QTest::newRow("largest") << u"2147483647"_s << std::optional(2147483647);
        QTest::newRow("too large") << u"2147483648"_s << none;
        QTest::newRow("absurd") << QString(400, u'9') << none;
        QTest::newRow("letters") << u"abc"_s << none;
        QTest::newRow("empty") << u""_s << none;
        QTest::newRow("exponent") << u"1e3"_s << none;
        QTest::newRow("full width") << u"－５．５"_s << std::optional(-6);
    }
    void wholeNumbers()
    {
        QFETCH(QString, text);
        QFETCH(std::optional<qint32>, wanted);
        const auto value = numericValue(text);
        QVERIFY((value ? wholeNumber(*value) : std::nullopt) == wanted);
    }

    void dateTimes_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QDateTime>("wanted"); // invalid: not readable
        const QDateTime morning({2006, 3, 5}, {7, 8, 9});
        QTest::newRow("text") << QVariant(u"2006-03-05 07:08:09"_s) << morning;
        QTest::newRow("T, fraction") << QVariant(u"2006-03-05T07:08:09.999"_s) << morning;
        QTest::newRow("slashes, short") << QVariant(u" 2006/3/5 7:8:9 "_s) << morning;
        QTest::newRow("no seconds") << QVariant(u"2006-03-05 07:08"_s) << QDateTime({2006, 3, 5}, {7, 8});
        QTest::newRow("date alone") << QVariant(u"2006-03-05"_s) << QDateTime({2006, 3, 5}, {0, 0});
        QTest::newRow("date-time") << QVariant(morning) << morning;
        QTest::newRow("date") << QVariant(QDate(2006, 3, 5)) << QDateTime({2006, 3, 5}, {0, 0});
        QTest::newRow("zone Z") << QVariant(morning.toUTC().toString(Qt::ISODate)) << morning;
        QTest::newRow("zone offset") << QVariant(morning.toOffsetFromUtc(8 * 3600).toString(Qt::ISODate))
                                     << morning;
        QTest::newRow("zone offset, west")
            << QVariant(morning.toOffsetFromUtc(-5 * 3600).toString(Qt::ISODate)) << morning;
        QTest::newRow("null") << QVariant() << QDateTime();
        QTest::newRow("empty") << QVariant(u""_s) << QDateTime();
        QTest::newRow("words") << QVariant(u"tomorrow"_s) << QDateTime();
        QTest::newRow("no such day") << QVariant(u"2006-02-30 01:00:00"_s) << QDateTime();
        QTest::newRow("no such hour") << QVariant(u"2006-02-03 25:00:00"_s) << QDateTime();
        QTest::newRow("number") << QVariant(17) << QDateTime();
    }
    void dateTimes()
    {
        QFETCH(QVariant, value);
        QFETCH(QDateTime, wanted);
        QCOMPARE(dateTimeValue(value).value_or(QDateTime()), wanted);
    }
};

QTEST_GUILESS_MAIN(TextValuesTest)
#include "TextValuesTest.moc"
