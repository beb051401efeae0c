#include "database/ConnectionTarget.h"
#include "database/ConnectionString.h"

#include "tests/support/TextTable.h"

using namespace Qt::StringLiterals;

namespace
{

ConnectionTarget targetOf(const QString &given, bool withVendorsDrivers = false)
{
    QStringList drivers{u"PostgreSQL ANSI"_s, u"PostgreSQL Unicode"_s, u"MariaDB Unicode"_s, u"FreeTDS"_s};
    if (withVendorsDrivers)
        drivers += {u"ODBC Driver 17 for SQL Server"_s, u"ODBC Driver 18 for SQL Server"_s};
    return connectionTarget(given, {drivers, [](const QString &name) {
                                        return name == "Office"_L1 ? u"libmaodbc.so"_s : QString();
                                    }});
}

QString shown(const ServerTarget &target)
{
    QStringList parts{target.kind == ServerTarget::Kind::PostgreSql ? u"PostgreSQL"_s : u"MariaDB"_s,
                      target.host,
                      QString::number(target.port),
                      target.database,
                      target.user,
                      target.password,
                      target.sslMode,
                      QString::number(target.limits.connect.count()),
                      QString::number(target.limits.statement.count())};
    std::ranges::replace(parts, QString(), u"-"_s);
    return parts.join(u' ');
}

/// Why a string is refused; "" when it is not.
QString refusal(const QString &given)
{
    try {
        static_cast<void>(targetOf(given));
    } catch (const DatabaseFault &fault) {
        return fault.message();
    }
    return {};
}

} // namespace

/// The strings of connection-strings.txt, and what is understood of them.
class ConnectionTargetTest : public QObject
{
    Q_OBJECT

private slots:
    void stringIsUnderstood_data()
    {
        QTest::addColumn<QString>("given");
        QTest::addColumn<QString>("wanted");
        QString given;
        for (const auto &[number, line] : textLines(QStringLiteral(CONNECTION_STRINGS))) {
            if (line.startsWith("> "_L1))
                given = line.sliced(2);
            else
                QTest::addRow("%s: %s", qPrintable(given), qPrintable(line)) << given << line;
        }
    }
    void stringIsUnderstood()
    {
        QFETCH(QString, given);
        QFETCH(QString, wanted);
        const QString verb = wanted.section(u' ', 0, 0);
        const QString text = wanted.section(u' ', 1);
        if (verb == "refused"_L1) {
            QVERIFY2(refusal(given).contains(text), qPrintable(refusal(given)));
            QVERIFY2(!refusal(given).contains("secret"_L1), qPrintable(refusal(given)));
            QVERIFY(!ConnectionString::masked(given).contains("secret"_L1));
        } else if (verb == "password"_L1) {
            QCOMPARE(ConnectionString(given).value({"password"_L1}), text);
        } else if (verb == "masked"_L1) {
            QCOMPARE(ConnectionString::masked(given), text);
        } else if (verb == "server"_L1) {
            QCOMPARE(shown(std::get<ServerTarget>(targetOf(given))), text);
        } else if (verb == "verifies"_L1) {
            QCOMPARE(std::get<OdbcTarget>(targetOf(given)).freeTdsVerifies, text == "yes"_L1);
        } else {
            QCOMPARE(std::get<OdbcTarget>(targetOf(given, verb == "vendor-odbc"_L1)).text, text);
        }
    }
};

QTEST_GUILESS_MAIN(ConnectionTargetTest)
#include "ConnectionTargetTest.moc"
