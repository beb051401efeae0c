#include "pop3/Pop3Client.h"
#include "tests/support/DovecotServer.h"

#include <QTest>
#include <memory>

using namespace Qt::StringLiterals;

namespace
{
QByteArray mail(const QByteArray &subject, const QByteArray &body)
{
    return "From: A <a@example.com>\nTo: b@example.com\nSubject: " + subject + "\n\n" + body + "\n";
}

QByteArray octetsOf(const Pop3Client::Retrieved &message)
{
    const auto *octets = std::get_if<QByteArray>(&message);
    return octets ? *octets : QByteArray("refused");
}
} // namespace

/// Against a real server: Dovecot, in clear text, with STLS and with TLS.
class Pop3ClientTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void lineSecurity_data();
    void lineSecurity();
    void wrongPasswordIsRefused();
    void clearTextLoginOnlyAfterStls();
    void sessionFromCountToQuit();
    void dotsAndLineEndsSurvive();
    void retrievesAheadInOrder();
    void brokenLineCommitsNothing();
    void handlerMayThrow();

private:
    Pop3Options watched();
    std::unique_ptr<DovecotServer> m_server;
    QStringList m_trace;
};

void Pop3ClientTest::initTestCase()
{
    m_server = std::make_unique<DovecotServer>();
    QVERIFY2(m_server->problem().isEmpty(), qPrintable(m_server->problem()));
}

Pop3Options Pop3ClientTest::watched()
{
    m_trace.clear();
    Pop3Options options;
    options.trace = [this](Pop3Direction direction, const QString &line) {
        m_trace << (direction == Pop3Direction::Sent ? u"> "_s : u"< "_s) + line;
    };
    return options;
}

void Pop3ClientTest::lineSecurity_data()
{
    QTest::addColumn<bool>("tlsPort");
    QTest::addColumn<Pop3Tls>("tls");
    QTest::addColumn<bool>("trusted");
    QTest::addColumn<QString>("host");
    QTest::addColumn<Pop3ConnectOutcome>("outcome");

    using enum Pop3ConnectOutcome;
    QTest::newRow("stls-unverified") << false << Pop3Tls::Opportunistic << false << u"127.0.0.1"_s
                                     << Connected;
    QTest::newRow("stls-unknown-authority")
        << false << Pop3Tls::Verify << false << u"localhost"_s << TlsRefused;
    QTest::newRow("stls-other-host") << false << Pop3Tls::Verify << true << u"127.0.0.1"_s << TlsRefused;
    QTest::newRow("stls-verified") << false << Pop3Tls::Verify << true << u" localhost "_s << Connected;
    QTest::newRow("tls-port-unknown-authority")
        << true << Pop3Tls::Opportunistic << false << u"localhost"_s << TlsRefused;
    QTest::newRow("tls-port-other-host")
        << true << Pop3Tls::Opportunistic << true << u"127.0.0.1"_s << TlsRefused;
    QTest::newRow("tls-port-verified")
        << true << Pop3Tls::Opportunistic << true << u"localhost"_s << Connected;
}

void Pop3ClientTest::lineSecurity()
{
    QFETCH(bool, tlsPort);
    QFETCH(Pop3Tls, tls);
    QFETCH(bool, trusted);
    QFETCH(QString, host);
    Pop3Options options = watched();
    options.tls = tls;
    options.tlsPort = m_server->tlsPort();
    if (trusted)
        options.trustedCertificates = m_server->authorityFile();
    Pop3Client client(options);
    const int port = tlsPort ? m_server->tlsPort() : m_server->port();
    const Pop3ConnectResult result = client.Connect(u"tls@x"_s, DovecotServer::password(), host, port);
    QTEST(result.outcome, "outcome");
    QCOMPARE(result.text.isEmpty(), result.connected());
    QCOMPARE(m_trace.contains(u"> STLS"_s), !tlsPort);
    if (!result.connected())
        QVERIFY2(m_trace.filter(u"> AUTH"_s).isEmpty(), "a login went over a line that is not trusted");
}

void Pop3ClientTest::wrongPasswordIsRefused()
{
    Pop3Client client(watched());
    const QString wrong = u"falsches Passwort"_s;
    const Pop3ConnectResult result = client.Connect(u"wrong"_s, wrong, u"127.0.0.1"_s, m_server->port());
    QCOMPARE(result.outcome, Pop3ConnectOutcome::LoginRefused);
    // One way at a time, and none shows the password.
    QByteArrayList refused{result.way};
    for (const QByteArray &way : {"PLAIN"_ba, "LOGIN"_ba, "USER"_ba}) {
        const Pop3ConnectResult next =
            client.Connect(u"wrong"_s, wrong, u"127.0.0.1"_s, m_server->port(), {{}, refused});
        QCOMPARE(next.way, way);
        QCOMPARE(next.otherWaysLeft, way != "USER");
        refused += way;
    }
    const QString trace = m_trace.join(u'\n');
    for (const QString &way :
         {u"> AUTH CRAM-MD5"_s, u"> AUTH PLAIN ****"_s, u"> AUTH LOGIN ****"_s, u"> PASS ****"_s})
        QCOMPARE(trace.count(way), 1);
    for (const QByteArray &secret : {wrong.toUtf8(), wrong.toUtf8().toBase64(),
                                     QByteArray(QByteArray("\0wrong\0", 7) + wrong.toUtf8()).toBase64()})
        QVERIFY(!trace.contains(QString::fromLatin1(secret)) &&
                !result.text.contains(QString::fromLatin1(secret)));
    QVERIFY(!client.Disconnect());
}

void Pop3ClientTest::clearTextLoginOnlyAfterStls()
{
    DovecotServer strict(DovecotServer::PlainText::AfterTls);
    QVERIFY2(strict.problem().isEmpty(), qPrintable(strict.problem()));
    Pop3Client client(watched());
    QVERIFY(client.Connect(u"strict user"_s, DovecotServer::password(), u"127.0.0.1"_s, strict.port())
                .connected());
    QCOMPARE(client.Count(), 0);
    QVERIFY(client.Disconnect());
}

void Pop3ClientTest::sessionFromCountToQuit()
{
    const QString user = u"会话"_s;
    for (int i = 1; i <= 3; ++i)
        m_server->deliver(user, mail("mail " + QByteArray::number(i), "text"));
    Pop3Client client;
    QVERIFY(client.Connect(user, DovecotServer::password(), u"localhost"_s, m_server->port()).connected());
    QCOMPARE(client.Count(), 3);
    const QString uid = client.GetMessageUID(2).value_or(QString());
    QVERIFY(!uid.isEmpty());
    QVERIFY(client.GetMessageUID(3) != uid);
    QCOMPARE(client.GetMessageUID(0), std::nullopt);
    QCOMPARE(client.GetMessageUID(4), std::nullopt);
    const auto message = client.Item(2);
    QCOMPARE(std::get<MimeMessage>(message).Subject(), u"mail 2"_s);
    QVERIFY(std::holds_alternative<Pop3Refusal>(client.Item(4)));
    QCOMPARE(client.DeleteMessages({1, 3, 9}), QList<int>({9}));
    QVERIFY(client.Disconnect());
    QCOMPARE(m_server->stored(user), 1);
    QVERIFY(client.Connect(user, DovecotServer::password(), u"localhost"_s, m_server->port()).connected());
    QCOMPARE(client.GetMessageUID(1), uid);
    QVERIFY(client.DeleteMessages().isEmpty());
    QVERIFY(client.Disconnect());
    QCOMPARE(m_server->stored(user), 0);
}

void Pop3ClientTest::dotsAndLineEndsSurvive()
{
    const QByteArray body = ".\n..\n.text\n\n...\nend.";
    m_server->deliver(u"dots"_s, mail("dots", body));
    Pop3Client client;
    QVERIFY(
        client.Connect(u"dots"_s, DovecotServer::password(), u"127.0.0.1"_s, m_server->port()).connected());
    const auto message = client.Item(1);
    QCOMPARE(std::get<MimeMessage>(message).Body(), QString::fromLatin1(body).replace(u"\n"_s, u"\r\n"_s));
}

void Pop3ClientTest::retrievesAheadInOrder()
{
    // Sizes around the window's: many small ones, some larger than all of it.
    QList<int> numbers;
    QList<QByteArray> bodies;
    for (int i = 1; i <= 150; ++i) {
        const qsizetype octets = i % 50 == 0 ? 3'000'000 : 2000 + i;
        bodies << QByteArray(octets / 10, 'x').replace("xxxxxxxx", "xxxxxxx\n") + QByteArray::number(i);
        m_server->deliver(u"window"_s, mail(QByteArray::number(i), bodies.last()));
        numbers.prepend(i);
    }
    Pop3Client client(watched());
    QVERIFY(
        client.Connect(u"window"_s, DovecotServer::password(), u"127.0.0.1"_s, m_server->port()).connected());
    QCOMPARE(client.Count(), 150);
    QList<int> seen;
    int asked = 0;
    client.retrieve(numbers, [&](int number, const Pop3Client::Retrieved &message) {
        seen << number;
        asked = qMax<int>(asked, static_cast<int>(m_trace.filter(u"> RETR"_s).size() - seen.size()));
        QVERIFY(octetsOf(message).replace("\r\n", "\n").endsWith("\n\n" + bodies[number - 1] + "\n"));
    });
    QCOMPARE(seen, numbers);
    QVERIFY2(asked >= 32, "requests do not run ahead");
    QVERIFY(client.DeleteMessages(numbers).isEmpty());
    QVERIFY(client.Disconnect());
    QCOMPARE(m_server->stored(u"window"_s), 0);
}

void Pop3ClientTest::brokenLineCommitsNothing()
{
    m_server->deliver(u"broken"_s, mail("kept", "text"));
    {
        Pop3Client client;
        QVERIFY(client.Connect(u"broken"_s, DovecotServer::password(), u"127.0.0.1"_s, m_server->port())
                    .connected());
        QVERIFY(client.DeleteMessages().isEmpty());
    }
    // The mailbox is free again once the server noticed.
    Pop3Client client;
    const auto connected = [&] {
        return client.Connect(u"broken"_s, DovecotServer::password(), u"127.0.0.1"_s, m_server->port())
            .connected();
    };
    QTRY_VERIFY(connected());
    QCOMPARE(client.Count(), 1);
}

void Pop3ClientTest::handlerMayThrow()
{
    for (int i = 1; i <= 20; ++i)
        m_server->deliver(u"throws"_s, mail(QByteArray::number(i), QByteArray(5000, 'x')));
    Pop3Client client;
    QVERIFY(
        client.Connect(u"throws"_s, DovecotServer::password(), u"127.0.0.1"_s, m_server->port()).connected());
    QVERIFY_EXCEPTION_THROWN(client.retrieve({1, 2, 3, 4, 5, 6},
                                             [](int number, const Pop3Client::Retrieved &) {
                                                 if (number == 2)
                                                     throw Fault(u"database away"_s);
                                             }),
                             Fault);
    QCOMPARE(std::get<MimeMessage>(client.Item(17)).Subject(), u"17"_s);
    QVERIFY(client.Disconnect());
}

QTEST_GUILESS_MAIN(Pop3ClientTest)
#include "Pop3ClientTest.moc"
