#include "platform/files/Files.h"
#include "tests/database/DatabaseWork.h"
#include "tests/support/Loopback.h"
#include "tests/support/Rows.h"

#include <QFile>
#include <QProcess>
#include <QScopeGuard>
#include <QTcpServer>
#include <QTcpSocket>
#include <future>
#include <thread>

using namespace Qt::StringLiterals;

namespace
{

/// pgbouncer in front of a private PostgreSQL. It refuses to run as root.
void startPool(QProcess &pool, const QString &folder, int port, const PrivateDatabaseServer &server,
               const QString &mode)
{
    const QString settings =
        u"[databases]\n* = host=127.0.0.1 port=%1 user=%2 password='%3'\n"
        "[pgbouncer]\nlisten_addr=127.0.0.1\nlisten_port=%4\nunix_socket_dir=\nauth_type=any\n"
        "pool_mode=%5\nignore_startup_parameters=extra_float_digits\n"_s.arg(server.port())
            .arg(PrivateDatabaseServer::user(), PrivateDatabaseServer::password().replace(u'\'', "''"_L1))
            .arg(port)
            .arg(mode);
    const QString script = u"cd $0; printf %s \"$1\" >pool.ini; chmod -R a+rX .; [ $(id -u) != 0 ] ||"
                           " as='setpriv --reuid=postgres --regid=postgres --clear-groups';"
                           " exec $as /usr/sbin/pgbouncer pool.ini"_s;
    pool.setStandardErrorFile(QProcess::nullDevice());
    pool.start(u"sh"_s, {u"-c"_s, script, folder, settings});
}

/// The greeting of a server that wants the password in clear (protocol 10, mysql_clear_password).
QByteArray greetingThatAsksForClearPassword()
{
    const QByteArray body = QByteArray("\x0a") + QByteArray("8.0.30\0", 7) + QByteArray("\1\0\0\0", 4) +
                            QByteArray("12345678\0", 9) + QByteArray("\xff\xf7\x2d\x02\x00\xff\xc1\x15", 8) +
                            QByteArray(10, '\0') + QByteArray("123456789012\0", 13) +
                            QByteArray("mysql_clear_password\0", 21);
    return QByteArray(1, char(body.size())) + QByteArray("\0\0\0", 3) + body;
}

/// What PostgreSQL's kin say to a login: the number of a way that it does not know, and what that way needs.
QByteArray wayToLogIn(char number)
{
    const QByteArray body = QByteArray(3, '\0') + number + QByteArray("\0\0\0\2", 4) + QByteArray(76, 'a');
    return "R" + QByteArray(3, '\0') + char(body.size() + 4) + body;
}

} // namespace

class ConnectionTest : public QObject
{
    Q_OBJECT

private slots:
    void fileThatIsNoDatabaseIsNotOpened()
    {
        Office office;
        QVERIFY(!replaceSynced(office.databaseFile(), QByteArray(8192, 'x')).isError());
        Connection connection;
        QCOMPARE(kindOf([&] { connection.open(office.connectString()); }), DatabaseFault::Kind::Lost);
        QVERIFY(QFile::remove(office.databaseFile()));
        QCOMPARE(kindOf([&] { connection.open(office.connectString()); }), DatabaseFault::Kind::Lost);
        QVERIFY(!QFile::exists(office.databaseFile())); // nothing was created in its place
    }

    void poolOfTransactionsIsRefused_data()
    {
        addRows(uR"(
            mode        | route
            session     | PostgreSQL
            transaction | PostgreSQL
            statement   | PostgreSQL through ODBC
            )"_s);
    }
    void poolOfTransactionsIsRefused()
    {
        const DatabaseRoute route = currentRoute();
        const QString mode = QString::fromLatin1(QTest::currentDataTag());
        const Office database(route, SchemaKind::None);
        const QTemporaryDir folder;
        const int port = freeLoopbackPort();
        QProcess pool;
        startPool(pool, folder.path(), port, serverOf(route), mode);
        const auto end = qScopeGuard([&pool] {
            pool.kill();
            pool.waitForFinished();
        });
        const QString target =
            database.connectString().replace(QString::number(serverOf(route).port()), QString::number(port));
        Connection connection;
        std::optional<DatabaseFault> fault;
        const auto isListening = [&] {
            fault = faultOf([&] { connection.open(target); });
            return !fault || fault->message().contains(u"连接池"_s);
        };
        QTRY_VERIFY2(isListening(), qPrintable(fault ? fault->message() : QString()));
        QCOMPARE(fault.has_value(), mode != u"session"_s);
        if (!fault)
            QCOMPARE(connection.firstValue(u"select 1"_s, {})->toInt(), 1);
    }

    void loginThatCannotBeIsToldWithoutThePassword_data()
    {
        const Rows<QString, QByteArray, QString> row("keys", "greeting", "told");
        const QString mariaDb = u"Provider=MySQL;Data Source=127.0.0.1,%1;Initial Catalog=oa;"_s;
        const QString postgreSql =
            u"Provider=PostgreSQL;Data Source=127.0.0.1,%1;Initial Catalog=oa;SslMode=disable;"_s;
        row("in clear, native", mariaDb, greetingThatAsksForClearPassword(), {});
        row("in clear, ODBC", u"DRIVER={MariaDB Unicode};SERVER=127.0.0.1;PORT=%1;"_s,
            greetingThatAsksForClearPassword(), {});
        row("openGauss, sha256", postgreSql, wayToLogIn(10), u"Dialect=PostgreSQL"_s);
        row("openGauss, sm3", postgreSql, wayToLogIn(13), u"Dialect=PostgreSQL"_s);
    }
    void loginThatCannotBeIsToldWithoutThePassword()
    {
        QFETCH(QString, keys);
        QFETCH(QByteArray, greeting);
        QFETCH(QString, told);
        std::promise<quint16> port;
        QByteArray received;
        std::thread server([&] {
            QTcpServer listener;
            port.set_value(listener.listen(QHostAddress::LocalHost) ? listener.serverPort() : quint16(0));
            if (!listener.waitForNewConnection(5000))
                return;
            const std::unique_ptr<QTcpSocket> client(listener.nextPendingConnection());
            client->write(greeting);
            while (client->waitForReadyRead(3000)) // until the client hangs up
                received += client->readAll();
        });
        const QString target = keys.arg(port.get_future().get());
        Connection connection;
        const auto fault = faultOf([&] { connection.open(target + u"Uid=sms;Pwd=open-sesame"_s); });
        server.join();
        QVERIFY(fault && fault->kind() == DatabaseFault::Kind::Lost);
        QVERIFY2(fault->message().contains(told), qPrintable(fault->message()));
        QVERIFY2(!received.contains("open-sesame"), received.toHex());
    }

    /// The private servers offer none but where they are given a certificate.
    void lineIsEncryptedWhereItIsAskedFor_data()
    {
        addRows(uR"(
            what                   | route                | certificate | opens | keys
            in clear               | PostgreSQL           |           |     | ;SslMode=require
            in clear, m            | MariaDB              |           |     | ;SslMode=require
            in clear, m, verified  | MariaDB              |           |     | ;SslMode=verify-full
            prefer                 | PostgreSQL           |           | yes | ;SslMode=prefer
            prefer, m              | MariaDB              |           | yes | ;SslMode=prefer
            require                | MariaDB              | 127.0.0.2 | yes | ;SslMode=require
            verified               | MariaDB              | 127.0.0.2 | yes | ;SslMode=verify-full;SslCa=FILE
            nobody's               | MariaDB              | 127.0.0.2 |     | ;SslMode=verify-full;SslCa=/etc/ssl/certs/ca-certificates.crt
            another's              | MariaDB              | 127.0.0.9 |     | ;SslMode=verify-full;SslCa=FILE
            require, odbc          | MariaDB through ODBC | 127.0.0.2 | yes | FORCETLS=1
            verified, odbc         | MariaDB through ODBC | 127.0.0.2 | yes | FORCETLS=1;SSLVERIFY=1;SSLCA=FILE
            another's, odbc        | MariaDB through ODBC | 127.0.0.9 |     | FORCETLS=1;SSLVERIFY=1;SSLCA=FILE
            )"_s);
    }
    void lineIsEncryptedWhereItIsAskedFor()
    {
        const DatabaseRoute route = currentRoute();
        const Office database(route, SchemaKind::None);
        PrivateDatabaseServer &server = serverOf(route);
        const QString certificate = server.folder() + u"/line.pem"_s;
        const bool isEncrypted = !cell("certificate").isEmpty();
        const auto restart = [&](const QStringList &options) {
            server.stop();
            server.start(options);
        };
        const auto inClearAgain = qScopeGuard([&] {
            if (isEncrypted)
                restart({});
        });
        if (isEncrypted) {
            const QString make = u"openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=$1 -addext"
                                 " subjectAltName=IP:$1 -keyout $0 -out $0 2>/dev/null && chmod a+r $0"_s;
            QCOMPARE(QProcess::execute(u"sh"_s, {u"-c"_s, make, certificate, cell("certificate")}), 0);
            restart({u"--ssl"_s, u"--bind-address=127.0.0.1,127.0.0.2"_s, u"--ssl-cert="_s + certificate,
                     u"--ssl-key="_s + certificate});
        }
        Connection connection;
        const auto fault = faultOf([&] {
            QString target = database.connectString() + cell("keys").replace(u"FILE"_s, certificate);
            // Newer client libraries believe any certificate of 127.0.0.1.
            connection.open(isEncrypted ? target.replace(u"127.0.0.1"_s, u"127.0.0.2"_s) : target);
        });
        QVERIFY2(fault.has_value() == cell("opens").isEmpty(), fault ? qPrintable(fault->message()) : "open");
        if (fault)
            QCOMPARE(fault->kind(), DatabaseFault::Kind::Lost);
        else if (isEncrypted)
            QVERIFY(!connection.query(u"show session status like 'Ssl_cipher'"_s, {})
                         .values[1]
                         .toString()
                         .isEmpty());
    }
};

QTEST_GUILESS_MAIN(ConnectionTest)
#include "ConnectionTest.moc"
