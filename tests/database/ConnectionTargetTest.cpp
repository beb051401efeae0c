#include "database/ConnectionTarget.h"
#include "database/DatabaseFault.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

OdbcInstallation installation(const QStringList &drivers)
{
    return {drivers, [](const QString &name) { return name == "Office"_L1 ? u"libmaodbc.so"_s : QString(); }};
}

const QStringList &freeDrivers()
{
    static const QStringList drivers{u"PostgreSQL ANSI"_s, u"PostgreSQL Unicode"_s, u"MariaDB Unicode"_s,
                                     u"FreeTDS"_s};
    return drivers;
}

} // namespace

class ConnectionTargetTest : public QObject
{
    Q_OBJECT

private slots:
    void odbcTextIsBuilt_data()
    {
        QTest::addColumn<QString>("given");
        QTest::addColumn<QStringList>("drivers");
        QTest::addColumn<QString>("wanted");
        const QStringList vendor = freeDrivers() + QStringList{u"ODBC Driver 17 for SQL Server"_s,
                                                               u"ODBC Driver 18 for SQL Server"_s};
        QTest::newRow("OLE DB as the wizard wrote it")
            << u"Provider=SQLOLEDB.1;Password=\"a;b\";Persist Security Info=True;User ID=sa;Initial "
               u"Catalog=oa;"
               "Data Source=OASERVER;Use Procedure for Prepare=1;Auto Translate=True;Packet Size=4096;"
               "Workstation ID=WEB;Use Encryption for Data=False;"
               "Tag with column collation when possible=False"_s
            << freeDrivers()
            << u"DRIVER=FreeTDS;SERVER=OASERVER;PORT=1433;TDS_Version=7.4;DATABASE=oa;UID=sa;PWD={a;b}"_s;
        QTest::newRow("host and port")
            << u"provider=sqlncli11;server=tcp:10.0.0.5,1444;database=oa;uid=sa;pwd=x"_s << freeDrivers()
            << u"DRIVER=FreeTDS;SERVER=10.0.0.5;PORT=1444;TDS_Version=7.4;DATABASE=oa;UID=sa;PWD=x"_s;
        QTest::newRow("named instance")
            << u"Provider=MSOLEDBSQL;Data Source=.\\SQLEXPRESS;User ID=sa;Password=x"_s << freeDrivers()
            << u"DRIVER=FreeTDS;SERVER=127.0.0.1\\SQLEXPRESS;TDS_Version=7.4;UID=sa;PWD=x"_s;
        QTest::newRow("the vendor's newest driver")
            << u"Provider=SQLOLEDB;Data Source=s\\i,1444;Initial Catalog=oa;User ID=sa;Password=x}y"_s
            << vendor
            << u"DRIVER=ODBC Driver 18 for SQL Server;SERVER={s,1444};Encrypt=no;TrustServerCertificate=yes;"
               "DATABASE=oa;UID=sa;PWD={x}}y}"_s;
        const QString sqlServer = u"Provider=SQLOLEDB;Data Source=s;User ID=a;Password=b"_s;
        QTest::newRow("encrypted and verified, vendor's")
            << sqlServer + u";Encrypt=Mandatory"_s << vendor
            << u"DRIVER=ODBC Driver 18 for SQL Server;SERVER=s;Encrypt=yes;TrustServerCertificate=no;UID=a;PWD=b"_s;
        QTest::newRow("encrypted, FreeTDS")
            << sqlServer + u";Use Encryption for Data=True;Trust Server Certificate=True"_s << freeDrivers()
            << u"DRIVER=FreeTDS;SERVER=s;PORT=1433;TDS_Version=7.4;Encryption=require;UID=a;PWD=b"_s;
        QTest::newRow("encrypted, the vendor's keys for FreeTDS")
            << u"DRIVER={ODBC Driver 17 for SQL Server};SERVER=s;Encrypt=yes;TrustServerCertificate=no"_s
            << freeDrivers() << u"DRIVER=FreeTDS;SERVER=s;TDS_Version=7.4;Encryption=require"_s;
        QTest::newRow("encrypted and verified, MariaDB")
            << u"Provider=MySQL;Server=s;Database=oa;Uid=a;Pwd=b;SslMode=VerifyFull;SslCa=/ca.pem"_s
            << freeDrivers()
            << u"DRIVER=MariaDB "
               u"Unicode;SERVER=s;DATABASE=oa;UID=a;PWD=b;FORCETLS=1;SSLVERIFY=1;SSLCA=/ca.pem;"
               "CONN_TIMEOUT=5;CHARSET=utf8mb4;OPTION=2"_s;
        QTest::newRow("dialect") << u"DSN=Office;Dialect=Standard;UID=a"_s << freeDrivers()
                                 << u"DSN=Office;UID=a;CONN_TIMEOUT=5;CHARSET=utf8mb4;OPTION=2"_s;
        QTest::newRow("ODBC, a driver of the same family")
            << u"Driver={SQL Server};Server=s;Database=oa;Uid=sa;Pwd='x;"_s << freeDrivers()
            << u"Driver=FreeTDS;Server=s;Database=oa;Uid=sa;Pwd={'x};TDS_Version=7.4"_s;
        QTest::newRow("ODBC, PostgreSQL by its Windows name")
            << u"DRIVER={PostgreSQL Unicode(x64)};SERVER=s;Connect Timeout=3;BoolsAsChar=1"_s << freeDrivers()
            << u"DRIVER=PostgreSQL Unicode;SERVER=s;BoolsAsChar=1;CommLog=0;Debug=0"_s;
        QTest::newRow("data source name")
            << u"DSN=Office;UID=a;PWD=b;"_s << freeDrivers()
            << u"DSN=Office;UID=a;PWD=b;CONN_TIMEOUT=5;CHARSET=utf8mb4;OPTION=2"_s;
        QTest::newRow("bridge to a data source")
            << u"Provider=MSDASQL.1;Persist Security Info=False;User ID=a;Data Source=Other;Password=b"_s
            << freeDrivers() << u"DSN=Other;UID=a;PWD=b"_s;
        QTest::newRow("bridge with extended properties")
            << u"Provider=MSDASQL;Extended Properties=\"DRIVER={MySQL ODBC 5.1 "
               u"Driver};SERVER=s;DATABASE=oa\";"
               "User ID=a;Password=b"_s
            << freeDrivers()
            << u"DRIVER=MariaDB Unicode;SERVER=s;DATABASE=oa;UID=a;PWD=b;CONN_TIMEOUT=5;CHARSET=utf8mb4;OPTION=2"_s;
    }
    void odbcTextIsBuilt()
    {
        QFETCH(QString, given);
        QFETCH(QStringList, drivers);
        QFETCH(QString, wanted);
        const auto target = connectionTarget(given, installation(drivers));
        QCOMPARE(std::get<OdbcTarget>(target).text, wanted);
    }

    void serverIsUnderstood()
    {
        const auto target = std::get<ServerTarget>(connectionTarget(
            u"PROVIDER=postgres; Data Source=[::1]:5433; Initial Catalog=oa; User ID=sms; Password='a''b';"
            "SslMode=Require; Connect Timeout=0; Command Timeout=90"_s,
            installation({})));
        QCOMPARE(target.kind, ServerTarget::Kind::PostgreSql);
        QCOMPARE(target.host, u"::1"_s);
        QCOMPARE(target.port, 5433);
        QCOMPARE(target.database, u"oa"_s);
        QCOMPARE(target.password, u"a'b"_s);
        QCOMPARE(target.sslMode, u"require"_s);
        QCOMPARE(target.limits.connect, DatabaseLimits().connect);
        QCOMPARE(target.limits.statement, std::chrono::seconds(30));
        const auto socket = std::get<ServerTarget>(connectionTarget(
            u"Provider=MySQL;Server=/run/mysqld/mysqld.sock;Port=3307;Database=oa"_s, installation({})));
        QCOMPARE(socket.kind, ServerTarget::Kind::MariaDb);
        QCOMPARE(socket.host, u"/run/mysqld/mysqld.sock"_s);
        QCOMPARE(socket.port, 3307);
        for (const auto &[trust, verifies] : {std::pair(u"yes"_s, false), std::pair(u"no"_s, true)})
            QCOMPARE(std::get<OdbcTarget>(
                         connectionTarget(u"DRIVER={FreeTDS};SERVER=s;Encrypt=yes;TrustServerCertificate="_s +
                                              trust,
                                          installation(freeDrivers())))
                         .freeTdsVerifies,
                     verifies);
    }

    void unusableStringsNameTheKeyAndNoPassword_data()
    {
        QTest::addColumn<QString>("given");
        QTest::addColumn<QString>("named");
        const QString server = u"Data Source=s;Initial Catalog=oa;User ID=a;Password=secret"_s;
        QTest::newRow("unknown key") << u"Provider=PostgreSQL;Passphrase=1;"_s + server << u"“Passphrase”"_s;
        QTest::newRow("unknown provider") << u"Provider=Jet;"_s + server << u"“Jet”"_s;
        QTest::newRow("no database") << u"Provider=MariaDB;Data Source=s;Password=secret"_s
                                     << u"“Initial Catalog”"_s;
        QTest::newRow("no host") << u"Provider=SQLOLEDB;User ID=a;Password=secret"_s << u"“Data Source”"_s;
        QTest::newRow("no user") << u"Provider=SQLOLEDB;Data Source=s;Password=secret"_s << u"“User ID”"_s;
        QTest::newRow("integrated security")
            << u"Provider=SQLOLEDB;Integrated Security=SSPI;"_s + server << u"Integrated Security"_s;
        QTest::newRow("trusted connection")
            << u"DRIVER={FreeTDS};SERVER=s;Trusted_Connection=Yes;PWD=secret"_s << u"Trusted_Connection"_s;
        QTest::newRow("named pipe") << u"Provider=SQLOLEDB;Server=np:s;User ID=a;Password=secret"_s
                                    << u"“Data Source”"_s;
        QTest::newRow("port") << u"Provider=PostgreSQL;Port=70000;"_s + server << u"“Port”"_s;
        QTest::newRow("port in the host")
            << u"Provider=MariaDB;Server=s,x;Database=oa;Pwd=secret"_s << u"“Data Source”"_s;
        QTest::newRow("limit") << u"Provider=MariaDB;Connect Timeout=soon;"_s + server
                               << u"connect timeout"_s;
        QTest::newRow("dialect") << u"DSN=Office;Dialect=Jet;PWD=secret"_s << u"“Dialect”"_s;
        QTest::newRow("ssl mode") << u"Provider=MariaDB;SslMode=perhaps;"_s + server << u"“SslMode”"_s;
        QTest::newRow("strict, FreeTDS")
            << u"Provider=SQLOLEDB;Encrypt=Strict;"_s + server << u"Encrypt=Strict"_s;
        QTest::newRow("driver not installed") << u"DRIVER={Oracle};PWD=secret"_s << u"“Oracle”"_s;
    }
    void unusableStringsNameTheKeyAndNoPassword()
    {
        QFETCH(QString, given);
        QFETCH(QString, named);
        try {
            static_cast<void>(connectionTarget(given, installation(freeDrivers())));
            QFAIL("accepted");
        } catch (const DatabaseFault &fault) {
            QVERIFY2(fault.message().contains(named), qPrintable(fault.message()));
            QVERIFY2(!fault.message().contains(u"secret"_s), qPrintable(fault.message()));
        }
    }
};

QTEST_GUILESS_MAIN(ConnectionTargetTest)
#include "ConnectionTargetTest.moc"
