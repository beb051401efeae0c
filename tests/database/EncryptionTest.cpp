#include "tests/database/DatabaseWork.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <future>
#include <thread>

using namespace Qt::StringLiterals;

namespace
{

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

/// Lines to the database that are, or are not, encrypted.
class EncryptionTest : public QObject
{
    Q_OBJECT

private slots:
    void passwordIsNeverSentInClear_data()
    {
        QTest::addColumn<QString>("keys");
        QTest::newRow("native") << u"Provider=MySQL;Data Source=127.0.0.1,%1;Initial Catalog=oa;"_s;
        QTest::newRow("encrypted")
            << u"Provider=MySQL;Data Source=127.0.0.1,%1;Database=oa;SslMode=require;"_s;
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

QTEST_GUILESS_MAIN(EncryptionTest)
#include "EncryptionTest.moc"
