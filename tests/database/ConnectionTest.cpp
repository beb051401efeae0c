#include "tests/database/DatabaseWork.h"
#include "tests/support/Loopback.h"

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

} // namespace

class ConnectionTest : public QObject
{
    Q_OBJECT

private slots:
    void fileThatIsNoDatabaseIsNotOpened()
    {
        Office office;
        QFile file(office.databaseFile());
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(QByteArray(8192, 'x')) == 8192);
        file.close();
        Connection connection;
        QCOMPARE(kindOf([&] { connection.open(office.connectString()); }), DatabaseFault::Kind::Lost);
        QVERIFY(file.remove());
        QCOMPARE(kindOf([&] { connection.open(office.connectString()); }), DatabaseFault::Kind::Lost);
        QVERIFY(!file.exists()); // nothing was created in its place
    }

    void poolOfTransactionsIsRefused_data()
    {
        QTest::addColumn<DatabaseRoute>("route");
        QTest::addColumn<QString>("mode");
        QTest::newRow("session") << DatabaseRoute::PostgreSql << u"session"_s;
        QTest::newRow("transaction") << DatabaseRoute::PostgreSql << u"transaction"_s;
        QTest::newRow("statement, ODBC") << DatabaseRoute::PostgreSqlOdbc << u"statement"_s;
    }
    void poolOfTransactionsIsRefused()
    {
        QFETCH(DatabaseRoute, route);
        QFETCH(QString, mode);
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

    void passwordIsNeverSentInClear_data()
    {
        QTest::addColumn<QString>("keys");
        QTest::newRow("native") << u"Provider=MySQL;Data Source=127.0.0.1,%1;Initial Catalog=oa;"_s;
        QTest::newRow("ODBC") << u"DRIVER={MariaDB Unicode};SERVER=127.0.0.1;PORT=%1;"_s;
    }
    void passwordIsNeverSentInClear()
    {
        QFETCH(QString, keys);
        std::promise<quint16> port;
        QByteArray received;
        std::thread server([&] {
            QTcpServer listener;
            port.set_value(listener.listen(QHostAddress::LocalHost) ? listener.serverPort() : quint16(0));
            if (!listener.waitForNewConnection(5000))
                return;
            const std::unique_ptr<QTcpSocket> client(listener.nextPendingConnection());
            client->write(greetingThatAsksForClearPassword());
            while (client->waitForReadyRead(3000)) // until the client hangs up
                received += client->readAll();
        });
        const QString target = keys.arg(port.get_future().get());
        Connection connection;
        const auto kind = kindOf([&] { connection.open(target + u"Uid=sms;Pwd=open-sesame"_s); });
        server.join();
        QCOMPARE(kind, DatabaseFault::Kind::Lost);
        QVERIFY2(!received.contains("open-sesame"), received.toHex());
    }

    /// The private servers offer none.
    void serverWithoutEncryptionIsRefused_data()
    {
        QTest::addColumn<DatabaseRoute>("route");
        QTest::addColumn<QString>("mode");
        QTest::newRow("PostgreSQL") << DatabaseRoute::PostgreSql << u"require"_s;
        QTest::newRow("MariaDB") << DatabaseRoute::MariaDb << u"require"_s;
        QTest::newRow("MariaDB, verified") << DatabaseRoute::MariaDb << u"verify-full"_s;
    }
    void serverWithoutEncryptionIsRefused()
    {
        QFETCH(DatabaseRoute, route);
        QFETCH(QString, mode);
        const Office database(route, SchemaKind::None);
        Connection connection;
        QCOMPARE(kindOf([&] { connection.open(database.connectString() + u";SslMode="_s + mode); }),
                 DatabaseFault::Kind::Lost);
        connection.open(database.connectString() + u";SslMode=prefer"_s);
    }
};

QTEST_GUILESS_MAIN(ConnectionTest)
#include "ConnectionTest.moc"
