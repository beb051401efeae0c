#include "pop3/Pop3Account.h"
#include "pop3/Pop3Client.h"
#include "tests/support/Rows.h"

using namespace Qt::StringLiterals;

/// What a table may hold in place of a server, a port, a login and a password.
class Pop3AccountTest : public QObject
{
    Q_OBJECT

private slots:
    void hostileValues_data()
    {
        // No url: refused.
        const Rows<QString, QByteArray, int, QString, QString> rows("server", "url", "port", "login",
                                                                    "password");
        const auto row = [&](const char *name, const QString &server, const QByteArray &url, int port = 110,
                             const QString &login = u"a b\"'%@"_s, const QString &password = u" p\\%00ä "_s) {
            rows(name, server, url, port, login, password);
        };
        row("padded column", u"  Pop.Example.com   "_s, "pop3://Pop.Example.com:110/");
        row("Chinese domain", u"邮件.中国"_s, "pop3://xn--5nq051n.xn--fiqs8s:110/");
        row("IPv6", u"::1"_s, "pop3://[::1]:110/");
        row("empty", u" "_s, {});
        row("port inside", u"example.com:25"_s, {});
        row("line end", u"example.com\r\nDELE 1"_s, {});
        row("like an option", u"-v"_s, {});
        row("host too long", QString(300, u'a'), {});
        row("TLS port", u"h"_s, "pop3s://h:995/", 995);
        row("port 0", u"h"_s, {}, 0);
        row("highest port", u"h"_s, "pop3://h:65535/", 65535);
        row("one more", u"h"_s, {}, 65536);
        row("line end in the login", u"h"_s, {}, 110, u"u\r\nQUIT"_s);
        row("line end in the password", u"h"_s, {}, 110, u"u"_s, u"p\nDELE 1"_s);
        row("no login", u"h"_s, {}, 110, QString());
        row("no password", u"h"_s, "pop3://h:110/", 110, u"u"_s, QString());
        row("longest login", u"h"_s, "pop3://h:110/", 110, QString(1024, u'u'));
        row("longer login", u"h"_s, {}, 110, QString(1025, u'u'));
    }
    void hostileValues()
    {
        QFETCH(QString, server);
        QFETCH(QByteArray, url);
        QFETCH(int, port);
        QFETCH(QString, login);
        QFETCH(QString, password);
        const auto checked = checkedAccount(login, password, server, port, 995);
        const auto *account = std::get_if<Pop3Account>(&checked);
        QCOMPARE(account ? account->url : QByteArray(), url);
        if (account)
            QCOMPARE(account->login + account->password, (login + password).toUtf8());
        else
            QCOMPARE(Pop3Client().Connect(login, password, server, port).outcome,
                     Pop3ConnectOutcome::InvalidAccount);
    }
};

QTEST_GUILESS_MAIN(Pop3AccountTest)
#include "Pop3AccountTest.moc"
