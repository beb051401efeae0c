#include "foundation/Settings.h"
#include "tests/support/DovecotServer.h"
#include "tests/support/Office.h"
#include "tests/support/ServerProcess.h"
#include "tests/support/SimulatorProcess.h"

#include <QRandomGenerator>
#include <QTest>

using namespace Qt::StringLiterals;

namespace
{

constexpr int kills = 4;
constexpr int messagesPerKill = 15;
/// Milliseconds that a condition may take to come true on a machine that is busy with other work.
constexpr int patience = 60000;

QByteArray message(int number)
{
    QByteArray octets = "Subject: " + QByteArray::number(number) +
                        "\nContent-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: text/html\n\nx\n";
    for (const char *name : {"a.pdf", "b.pdf"}) {
        octets += "--b\nContent-Type: application/pdf; name=" + QByteArray(name) + "\n\n" +
                  QByteArray(2000, static_cast<char>('a' + number % 26)) + '\n';
    }
    return octets + "--b--\n";
}

} // namespace

/// The real program killed again and again while it collects a mailbox whose messages it deletes.
class KilledCollectionTest : public QObject
{
    Q_OBJECT

private slots:
    void everyMessageStandsOnce()
    {
        Office office;
        DovecotServer dovecot;
        QVERIFY2(dovecot.problem().isEmpty(), qPrintable(dovecot.problem()));
        const SimulatorProcess modem;
        office.configureModem(modem.devicePath(), 1);
        office.add(u"SMS_Order"_s, u"OrderName, IsOrder, isPulic"_s, {u"WBYJ|1|1"_s});
        office.add(u"VO_UserInfor"_s, u"UserName, AccountState"_s, {u"ann|1"_s});
        office.addRow(u"SA_email"_s, u"OAID, UserName, POPIP, PopPort, EUsername, EPassword, IsBaoLiu"_s,
                      {1, u"ann"_s, u"127.0.0.1"_s, dovecot.port(), u"box"_s, DovecotServer::password(), 0});
        int delivered = 0;
        for (int kill = 1; kill <= kills; ++kill) {
            for (int i = 0; i < messagesPerKill; ++i)
                dovecot.deliver(u"box"_s, message(++delivered));
            ServerProcess server(office.registry.fileName(),
                                 ServerProcess::service() + QStringList{u"--trace"_s});
            server.setReadChannel(QProcess::StandardError);
            // Each message is a line when it comes and two when it is deleted.
            const int moment = QRandomGenerator::global()->bounded(3 * messagesPerKill);
            const auto hasCome = [&] {
                const QString trace = server.errors();
                return trace.count(u" POP3 +OK"_s) + trace.count(u" POP3 （"_s) > moment ||
                       trace.contains(u"QUIT"_s);
            };
            while (!hasCome())
                QVERIFY(server.waitForReadyRead(patience));
            QVERIFY(server.end(SIGKILL));
        }
        const ServerProcess server(office.registry.fileName());
        QTRY_COMPARE_WITH_TIMEOUT(dovecot.stored(u"box"_s), 0, patience);

        QStringList expected;
        for (int number = 1; number <= delivered; ++number)
            expected += QString::number(number) + u"|2|4000"_s;
        QCOMPARE(office.rows(u"select EmailSubject, count(*), sum(length(FileContent)) from VO_Email"
                             " join VO_EmailAttachments on EmailID=VOID group by VOID"
                             " order by cast(EmailSubject as integer)"_s),
                 expected);
        QCOMPARE(office.rows(u"select count(*) from VO_EmailAttachments"_s),
                 QStringList(QString::number(2 * delivered)));
    }
};

QTEST_GUILESS_MAIN(KilledCollectionTest)
#include "KilledCollectionTest.moc"
