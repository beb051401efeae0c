#include "app/RepeatedLines.h"

#include <QTest>

using namespace Qt::StringLiterals;

class RepeatedLinesTest : public QObject
{
    Q_OBJECT

private slots:
    void theHundredAndFirstIsCountedAndTheNextHourTellsTheSum()
    {
        RepeatedLines lines;
        const auto line = [](int hour, const QString &text) {
            return u"2006-03-05 %1:00:00 "_s.arg(hour, 2, 10, QChar(u'0')) + text;
        };
        for (int i = 0; i < RepeatedLines::passing; ++i)
            QCOMPARE(lines.next(line(7, u"again"_s)), QStringList{line(7, u"again"_s)});
        QCOMPARE(lines.next(line(7, u"again"_s)) + lines.next(line(7, u"again"_s)), QStringList());
        QCOMPARE(lines.next(line(7, u"other"_s)), QStringList{line(7, u"other"_s)});
        QCOMPARE(lines.next(line(8, u"again"_s)),
                 QStringList({line(7, u"又有 2 次：again"_s), line(8, u"again"_s)}));
        QCOMPARE(lines.takeSums(), QStringList());
    }
};

QTEST_APPLESS_MAIN(RepeatedLinesTest)
#include "RepeatedLinesTest.moc"
