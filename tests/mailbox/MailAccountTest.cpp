#include "mailbox/MailAccount.h"
#include "tests/support/MailOffice.h"

#include <QTest>

using namespace Qt::StringLiterals;

class MailAccountTest : public QObject
{
    Q_OBJECT

private:
    MailAccount stored(const QVariant &key, const QVariant &port, const QVariant &isBaoLiu)
    {
        Office office;
        office.oa(u"drop table SA_email"_s); // a table that takes any kind of value
        office.oa(
            u"create table SA_email (OAID, UserName, POPIP, PopPort, EUsername, EPassword, IsBaoLiu)"_s);
        office.oa(u"insert into SA_email (OAID, UserName, PopPort, IsBaoLiu) values (?, 'u', ?, ?)"_s,
                  {key, port, isBaoLiu});
        return mailAccounts(office.session.Conn(), u"u"_s).value(0);
    }

private slots:
    void port_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<int>("port");
        QTest::newRow("number") << QVariant(995) << 995;
        QTest::newRow("text") << QVariant(u" 995 "_s) << 995;
        QTest::newRow("highest") << QVariant(32767) << 32767;
        QTest::newRow("one more") << QVariant(32768) << 110;
        QTest::newRow("lowest") << QVariant(-32768) << -32768;
        QTest::newRow("one less") << QVariant(-32769) << 110;
        QTest::newRow("far beyond") << QVariant(u"99999999999999999999"_s) << 110;
        QTest::newRow("fraction") << QVariant(110.4) << 110;
        QTest::newRow("null") << QVariant() << 110;
        QTest::newRow("no number") << QVariant(u"pop3"_s) << 110;
    }
    void port()
    {
        QFETCH(QVariant, value);
        QTEST(stored(1, value, 1).PopPort, "port");
    }

    void keepsCopies_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<bool>("keeps");
        QTest::newRow("0") << QVariant(0) << false;
        QTest::newRow("text 0") << QVariant(u"0"_s) << false;
        QTest::newRow("text 0 in a char column") << QVariant(u"0  "_s) << false;
        QTest::newRow("0.0") << QVariant(u"0.0"_s) << false;
        QTest::newRow("1") << QVariant(1) << true;
        QTest::newRow("2") << QVariant(u"2"_s) << true;
        QTest::newRow("null") << QVariant() << true;
        QTest::newRow("empty") << QVariant(u""_s) << true;
        QTest::newRow("a word") << QVariant(u"no"_s) << true;
    }
    void keepsCopies()
    {
        QFETCH(QVariant, value);
        QTEST(stored(1, 110, value).keepsCopies, "keeps");
    }

    void keyThatIsNoNumber()
    {
        QVERIFY(!stored(QVariant(), 110, 1).OAID);
        QVERIFY(!stored(u"x or 1=1"_s, 110, 1).OAID);
        QCOMPARE(stored(u"7"_s, 110, 1).OAID, 7);
    }
};

QTEST_GUILESS_MAIN(MailAccountTest)
#include "MailAccountTest.moc"
