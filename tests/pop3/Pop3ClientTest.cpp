#include "pop3/Pop3Client.h"
#include "tests/support/DovecotServer.h"
#include "tests/support/Rows.h"

using namespace Qt::StringLiterals;
using enum Pop3ConnectOutcome;

/// Against a real server: Dovecot, with STLS and with TLS.
class Pop3ClientTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<DovecotServer> m_server;

private slots:
    void initTestCase() { m_server = std::make_unique<DovecotServer>(); }

    void lineSecurity_data()
    {
        const Rows<bool, Pop3Tls, bool, QString, Pop3ConnectOutcome> row("tlsPort", "tls", "trusted", "host",
                                                                         "outcome");
        using enum Pop3Tls;
        row("STLS, unverified", false, Opportunistic, false, u"127.0.0.1"_s, Connected);
        row("STLS, unknown authority", false, Verify, false, u"localhost"_s, TlsRefused);
        row("STLS, another host", false, Verify, true, u"127.0.0.1"_s, TlsRefused);
        row("STLS, verified", false, Verify, true, u" localhost "_s, Connected);
        row("TLS port, unknown authority", true, Opportunistic, false, u"localhost"_s, TlsRefused);
        row("TLS port, another host", true, Opportunistic, true, u"127.0.0.1"_s, TlsRefused);
        row("TLS port, verified", true, Opportunistic, true, u"localhost"_s, Connected);
    }
    void lineSecurity()
    {
        QFETCH(bool, tlsPort);
        QFETCH(Pop3Tls, tls);
        QFETCH(bool, trusted);
        QFETCH(QString, host);
        QStringList trace;
        Pop3Options options;
        options.trace = [&trace](Pop3Direction, const QString &line) { trace += line; };
        options.tls = tls;
        options.tlsPort = m_server->tlsPort();
        if (trusted)
            options.trustedCertificates = m_server->authorityFile();
        Pop3Client client(options);
        const int port = tlsPort ? m_server->tlsPort() : m_server->port();
        const Pop3ConnectResult result = client.Connect(u"tls@x"_s, DovecotServer::password(), host, port);
        QTEST(result.outcome, "outcome");
        QCOMPARE(result.text.isEmpty(), result.connected());
        QCOMPARE(trace.contains(u"STLS"_s), !tlsPort);
        if (!result.connected())
            QVERIFY2(trace.filter(u"AUTH "_s).isEmpty(), "a login went over a line that is not trusted");
    }

    void everyWayLetsIn()
    {
        for (const QByteArray &way : {"CRAM-MD5"_ba, "PLAIN"_ba, "LOGIN"_ba, "USER"_ba}) {
            Pop3Client client;
            const Pop3ConnectResult result = client.Connect(u"any user"_s, DovecotServer::password(),
                                                            u"127.0.0.1"_s, m_server->port(), {way, {}});
            QCOMPARE(result.outcome, Connected);
            QCOMPARE(result.way, way);
        }
    }
};

QTEST_GUILESS_MAIN(Pop3ClientTest)
#include "Pop3ClientTest.moc"
