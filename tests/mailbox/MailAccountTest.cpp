#include "mailbox/CollectorProtocol.h"
#include "tests/support/MailOffice.h"
#include "tests/support/Rows.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using namespace CollectorProtocol;
using enum Pop3ConnectOutcome;

/// What the columns of SA_email may hold, and when an account is logged in to again, and how.
class MailAccountTest : public QObject
{
    Q_OBJECT

    const MailAccount m_account{1, u"pop.x"_s, 110, u"ann"_s, u"secret"_s, true};

private slots:
    void columns_data()
    {
        const Rows<QString, QString, QString> row("column", "values", "meanings"); // values in SQL
        row("ports", u"PopPort"_s,
            u"995|' 995 '|32767|65535|65536|-32768|-32769|'99999999999999999999'|110.4|null|'pop3'"_s,
            u"995|995|32767|65535|110|-32768|110|110|110|110|110"_s);
        row("keeps copies", u"IsBaoLiu"_s, u"0|'0'|'0  '|'0.0'|1|'2'|null|''|'no'"_s,
            u"deletes|deletes|deletes|deletes|keeps|keeps|keeps|keeps|keeps"_s);
        row("keys", u"OAID"_s, u"'7'|null|'x or 1=1'"_s, u"7|none|none"_s);
    }
    void columns()
    {
        QFETCH(QString, column);
        QFETCH(QString, values);
        MailOffice office;
        office.oa(u"drop table SA_email"_s); // a table that takes any kind of value
        office.oa(
            u"create table SA_email (OAID, UserName, POPIP, PopPort, EUsername, EPassword, IsBaoLiu)"_s);
        for (const QString &value : values.split(u'|'))
            office.oa(u"insert into SA_email (UserName, %1) values ('u', %2)"_s.arg(column, value));
        QStringList meanings;
        for (const MailAccount &account : mailAccounts(office.session.Conn(), u"u"_s))
            meanings += column == u"PopPort"    ? QString::number(account.PopPort)
                        : column == u"IsBaoLiu" ? (account.keepsCopies ? u"keeps"_s : u"deletes"_s)
                        : account.OAID          ? QString::number(*account.OAID)
                                                : u"none"_s;
        QTEST(meanings.join(u'|'), "meanings");
    }

    void distances_data()
    {
        // Results: each as soon as allowed. Seconds: until the next.
        const Rows<QList<Pop3ConnectResult>, qint64, QByteArray, QByteArrayList> rows("results", "seconds",
                                                                                      "proven", "refused");
        const Pop3ConnectResult well{Connected, {}, "PLAIN"};
        const Pop3ConnectResult wrong{LoginRefused, {}, "PLAIN", true};
        const Pop3ConnectResult wrongByLast{CodeWanted, {}, "USER"};
        const auto row = [&](const char *name, const QList<Pop3ConnectResult> &results, qint64 seconds,
                             const QByteArray &proven = {}, const QByteArrayList &refused = {}) {
            rows(name, results, seconds, proven, refused);
        };
        row("connected", {well}, 0, "PLAIN");
        row("connected with a delay", {{Connected, {}, "USER", false, 900s}}, 900, "USER");
        row("refused once", {well, wrong}, 0, {}, {"PLAIN"});
        row("all refused: begins anew", {wrong, wrongByLast}, 60);
        row("an hour at most", QList<Pop3ConnectResult>(70, wrongByLast), 3600);
        row("reset by a login", {wrongByLast, wrongByLast, well, wrongByLast, wrongByLast}, 60);
        row("hung up on the login", {wrong, {LineLost, {}, "LOGIN", true}}, 60, {}, {"PLAIN", "LOGIN"});
        row("unreachable", {well, {HostUnreachable, {}}}, 0, "PLAIN");
        row("silent twice", {well, {TimedOut, {}}, {TimedOut, {}}}, 120, "PLAIN");
        row("in use for long", QList<Pop3ConnectResult>(9, {MailboxInUse, {}, "PLAIN"}), 60);
        row("too often, told", {{TooOften, {}, "PLAIN", false, 600s}}, 600);
    }
    void distances()
    {
        QFETCH(QList<Pop3ConnectResult>, results);
        QFETCH(qint64, seconds);
        std::chrono::milliseconds now = 7h;
        CollectorState known;
        for (const Pop3ConnectResult &result : std::as_const(results)) {
            const AccountHistory history = validHistory(known.histories.value(1), m_account);
            now += history.distance;
            QVERIFY(mayLogIn(history, now));
            known.histories.insert(1, afterLogin(history, result, now));
            known = decodeState(encode(known)).value(); // to the next pass
        }
        const AccountHistory history = validHistory(known.histories.value(1), m_account);
        QVERIFY(mayLogIn(history, now + seconds * 1s));
        QVERIFY(seconds == 0 || !mayLogIn(history, now + seconds * 1s - 1ms));
        QTEST(history.ways.proven, "proven");
        QTEST(history.ways.refused, "refused");

        MailAccount changed = m_account;
        changed.EPassword = u"another"_s;
        QVERIFY(mayLogIn(validHistory(history, changed), now));
        QVERIFY(validHistory(history, changed).ways.proven.isEmpty());
    }
};

QTEST_GUILESS_MAIN(MailAccountTest)
#include "MailAccountTest.moc"
