#include "foundation/DateTimeValue.h"
#include "foundation/GetFormateTime.h"
#include "foundation/NumericText.h"
#include "tests/support/ManualClock.h"

#include <QTest>

using namespace Qt::StringLiterals;

class TextValuesTest : public QObject
{
    Q_OBJECT

private slots:
    void timestampText()
    {
        QCOMPARE(GetFormateTime(ManualClock(QDateTime({2006, 3, 5}, {7, 8, 9, 999}))),
                 u"2006-03-05 07:08:09"_s);
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

QTEST_GUILESS_MAIN(TextValuesTest)
#include "TextValuesTest.moc"
