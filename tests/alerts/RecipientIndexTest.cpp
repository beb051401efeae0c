#include "alerts/RecipientIndex.h"

#include <QRandomGenerator>
#include <QSet>
#include <QTest>

using namespace Qt::StringLiterals;

/// The rule itself decides: EmailTo contains "*" + name + "-0-".
class RecipientIndexTest : public QObject
{
    Q_OBJECT

private:
    static void compareWithTheRule(QStringList names, const QString &emailTo)
    {
        names.removeDuplicates();
        RecipientIndex index;
        QSet<int> expected;
        for (int i = 0; i < names.size(); ++i) {
            index.add(names[i], i);
            if (emailTo.contains(u'*' + names[i] + u"-0-"_s))
                expected.insert(i);
        }
        QSet<int> found;
        index.find(emailTo, [&](int number) { found.insert(number); });
        QVERIFY2(found == expected, qPrintable(emailTo + u" / "_s + names.join(u", "_s)));
    }

private slots:
    void agreesWithTheRuleOnRandomTexts()
    {
        QRandomGenerator random(20060305);
        const auto text = [&random](int most) {
            QString entry;
            for (int length = random.bounded(most + 1); length > 0; --length)
                entry += u"*-0-a*0b"_s[random.bounded(8)];
            return entry;
        };
        for (int round = 0; round < 5000; ++round) {
            QStringList names;
            for (int i = 0; i < 6; ++i)
                names += text(5);
            compareWithTheRule(names, text(40));
        }
    }
};

QTEST_GUILESS_MAIN(RecipientIndexTest)
#include "RecipientIndexTest.moc"
