#include "database/ConnectionString.h"
#include "database/Connection.h"

#include <QTest>

using namespace Qt::StringLiterals;

class ConnectionStringTest : public QObject
{
    Q_OBJECT

private slots:
    void valueIsFound_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("wanted");
        QTest::newRow("plain") << u"Provider=X;Password=a"_s << u"a"_s;
        QTest::newRow("blanks and case") << u"  ; pAssWord  =  a b ;"_s << u"a b"_s;
        QTest::newRow("double quotes") << u"Password=\"a;b\"\"c\""_s << u"a;b\"c"_s;
        QTest::newRow("single quotes") << u"Password='a;b''c' ;X=1"_s << u"a;b'c"_s;
        QTest::newRow("braces") << u"Password={a;{b}}c}"_s << u"a;{b}c"_s;
        QTest::newRow("equals sign in the value") << u"Password=a=b"_s << u"a=b"_s;
        QTest::newRow("empty") << u"Password=;X=1"_s << u""_s;
        QTest::newRow("the last one wins") << u"Password=a;password=b"_s << u"b"_s;
    }
    void valueIsFound()
    {
        QFETCH(QString, text);
        QFETCH(QString, wanted);
        QCOMPARE(ConnectionString(text).value({"password"_L1}), wanted);
    }

    void malformedNamesThePlaceAndNoValue_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("named");
        QTest::newRow("no equals sign") << u"A=1;secret"_s << u"第 2 项"_s;
        QTest::newRow("no key") << u"=secret"_s << u"第 1 项"_s;
        QTest::newRow("open quote") << u"Password=\"secret"_s << u"Password"_s;
        QTest::newRow("open brace") << u"Password={secret"_s << u"Password"_s;
        QTest::newRow("text behind the quote") << u"Password='secret'secret"_s << u"Password"_s;
    }
    void malformedNamesThePlaceAndNoValue()
    {
        QFETCH(QString, text);
        QFETCH(QString, named);
        try {
            const ConnectionString parsed(text);
            QFAIL("accepted");
        } catch (const DatabaseFault &fault) {
            QVERIFY2(fault.message().contains(named), qPrintable(fault.message()));
            QVERIFY2(!fault.message().contains(u"secret"_s), qPrintable(fault.message()));
        }
        QVERIFY(!ConnectionString::masked(text).contains(u"secret"_s));
    }

    void passwordsAreMasked()
    {
        QCOMPARE(ConnectionString::masked(u"User ID=sa;Password='a;b'; PWD=c;Data Source=d"_s),
                 u"User ID=sa;Password=***; PWD=***;Data Source=d"_s);
        QCOMPARE(ConnectionString::masked(u"Provider=MSDASQL;Extended Properties=\"DSN=x;PWD=secret\""_s),
                 u"Provider=MSDASQL;Extended Properties=***"_s);
        // An ODBC password may begin with a quote.
        QCOMPARE(ConnectionString::masked(u"DSN=x;PWD='secret;UID=sa"_s), u"DSN=x;PWD=***;UID=sa"_s);
    }

    void unusableStringsAreRefused_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("empty") << u""_s;
        QTest::newRow("no provider") << u"Data Source=x"_s;
        QTest::newRow("unknown provider") << u"Provider=Nonesuch;Data Source=x"_s;
        QTest::newRow("no file") << u"Provider=SQLite"_s;
        QTest::newRow("file absent") << u"Provider=SQLite;Data Source=/nonexistent/oa.db"_s;
    }
    void unusableStringsAreRefused()
    {
        QFETCH(QString, text);
        Connection connection;
        QVERIFY_EXCEPTION_THROWN(connection.open(text), DatabaseFault);
        QVERIFY(!connection.isOpen());
        QVERIFY_EXCEPTION_THROWN(connection.execute(u"select 1"_s), DatabaseFault);
    }
};

QTEST_GUILESS_MAIN(ConnectionStringTest)
#include "ConnectionStringTest.moc"
