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
    static void compareWithTheRule(const QStringList &names, const QString &emailTo)
    {
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
    void findsExactlyTheAddressed_data()
    {
        QTest::addColumn<QString>("emailTo");
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("addressed");
        QTest::newRow("own entry") << u"*user12-0-0-0*"_s << u"user12"_s << true;
        QTest::newRow("beginning of a name") << u"*user12-0-0-0*"_s << u"user1"_s << false;
        QTest::newRow("end of a name") << u"*user12-0-0-0*"_s << u"12"_s << false;
        QTest::newRow("other letter case") << u"*user12-0-0-0*"_s << u"User12"_s << false;
        QTest::newRow("first flag 1") << u"*user12-1-0-0*"_s << u"user12"_s << false;
        QTest::newRow("name that looks like flags") << u"*user12-1-0-0*"_s << u"user12-1"_s << true;
        QTest::newRow("second entry") << u"*a-1-0-0*b-0-0-0*"_s << u"b"_s << true;
        QTest::newRow("no star") << u"b-0-0-0*"_s << u"b"_s << false;
        QTest::newRow("cut off") << u"*b-0"_s << u"b"_s << false;
        QTest::newRow("nothing behind") << u"*b-0-"_s << u"b"_s << true;
        QTest::newRow("hyphens") << u"*-b-c--0-0-0*"_s << u"-b-c-"_s << true;
        QTest::newRow("-0- inside") << u"*x-0-y-0-0*"_s << u"x-0-y"_s << true;
        QTest::newRow("star inside") << u"*a*b-0-0*"_s << u"a*b"_s << true;
        QTest::newRow("star inside another's") << u"*a*b-0-0*"_s << u"b"_s << true;
        QTest::newRow("empty name") << u"*-0-0*"_s << u""_s << true;
        QTest::newRow("Chinese") << u"*张三-0-0-0*"_s << u"张三"_s << true;
        QTest::newRow("64 characters") << u'*' + QString(64, u'n') + u"-0-"_s << QString(64, u'n') << true;
        QTest::newRow("65 characters") << u'*' + QString(65, u'n') + u"-0-"_s << QString(65, u'n') << true;
        QTest::newRow("empty list") << u""_s << u"b"_s << false;
    }
    void findsExactlyTheAddressed()
    {
        QFETCH(QString, emailTo);
        QFETCH(QString, name);
        QFETCH(bool, addressed);
        QCOMPARE(emailTo.contains(u'*' + name + u"-0-"_s), addressed);
        compareWithTheRule({name}, emailTo);
        compareWithTheRule({u"other"_s, name, name + u'2', u"2"_s + name}, emailTo);
    }

    void agreesWithTheRuleOnRandomTexts()
    {
        QRandomGenerator random(20060305);
        const auto text = [&random](int most) {
            QString text;
            for (int length = random.bounded(most + 1); length > 0; --length)
                text += u"*-0-a*0b"_s[random.bounded(8)];
            return text;
        };
        for (int round = 0; round < 5000; ++round) {
            QStringList names;
            for (int i = 0; i < 6; ++i) {
                if (const QString name = text(5); !names.contains(name))
                    names += name;
            }
            compareWithTheRule(names, text(40));
        }
    }
};

QTEST_GUILESS_MAIN(RecipientIndexTest)
#include "RecipientIndexTest.moc"
