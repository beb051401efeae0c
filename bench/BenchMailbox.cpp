// bench-mailbox [PARTS, for example ab]: the mailbox download against a private Dovecot, beside bare libcurl
// loops and bare commits in the same run; then over a line with a round trip of 20 ms.

#include "bench/BareMailbox.h"
#include "bench/DelayRelay.h"
#include "bench/Measure.h"
#include "mailbox/Pop3PollingDriver.h"
#include "tests/support/DovecotServer.h"
#include "tests/support/MailOffice.h"
#include "tests/support/ScriptedPop3Server.h"

#include <QCoreApplication>
#include <QRandomGenerator>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace
{

constexpr int newMessages = 2'000;
constexpr int keptMessages = 10'000;
constexpr int attachmentOctets = 20 * 1024 * 1024;
constexpr int accounts = 200;
constexpr std::chrono::milliseconds roundTrip{20};

/// 5 kB on the wire: a text in base64.
QByteArray usualMail(int number)
{
    const QByteArray text(3500, static_cast<char>('a' + number % 26));
    QByteArray lines;
    const QByteArray encoded = text.toBase64();
    for (qsizetype at = 0; at < encoded.size(); at += 76)
        lines += encoded.mid(at, 76) + '\n';
    return "From: =?gb2312?B?1cXI/Q==?= <a@example.com>\nTo: b@example.com\nSubject: =?gb2312?B?suLK1A==?= " +
           QByteArray::number(number) +
           "\nDate: Mon, 5 Jan 2026 10:20:30 +0800\nContent-Type: text/plain; charset=gb2312\n"
           "Content-Transfer-Encoding: base64\n\n" +
           lines;
}

void require(bool isTrue, const char *what)
{
    if (!isTrue)
        throw Fault(QString::fromLatin1(what));
}

/// One pass; what it passes over is a failure of the measurement.
double collectionSeconds(MailOffice &office)
{
    const double seconds = secondsOf([&] { office.collect(); });
    require(office.notes.isEmpty(), office.notes.join(u' ').toUtf8().constData());
    return seconds;
}

int mailCount(MailOffice &office)
{
    return office.mails(u"count(*)"_s).constFirst().toInt();
}

double bareRetrievalSeconds(const DovecotServer &server, const QString &box)
{
    return secondsOf([&] {
        BareMailbox mailbox(server.port(), box, DovecotServer::password());
        for (int number = 1; number <= newMessages; ++number)
            mailbox.retrieve(number);
    });
}

double bareCommitSeconds(const QString &file)
{
    QSqlDatabase database = QSqlDatabase::database();
    database.setDatabaseName(file);
    require(database.open(), "the database does not open");
    QSqlQuery insert(database);
    insert.prepare(u"insert into VO_Email (EmailSubject, EmailContent, EmailFromName, EmailFrom, ImpDegree,"
                   " EmailStatus, EmailDate, EmailTo, EmailToDis, EmailCC, MSGID, EOAID, EmailSource)"
                   " values ('测试 1', ?, '张三', 'a@example.com', 3, '1', '2026-01-05 10:20:30',"
                   " '*user12-0-0-0*', 'b@example.com', '', ?, 1, '2')"_s);
    const QString content = u"<pre>"_s + QString(3500, u'a') + u"</pre><br>"_s;
    return secondsOf([&] {
        for (int i = 0; i < newMessages; ++i) {
            insert.addBindValue(content);
            insert.addBindValue(u"%1"_s.arg(i, 16, 16, QChar(u'0')));
            require(insert.exec(), "the insert fails");
        }
    });
}

bool newMail(DovecotServer &server)
{
    const QString box = u"new"_s;
    for (int number = 1; number <= newMessages; ++number)
        server.deliver(box, usualMail(number));
    double commits = 0;
    double retrieval = 0;
    const Rivals best = bestOf(
        3,
        [&] {
            MailOffice office;
            office.makeDurable();
            office.account(1, u"user12"_s, server.port(), 1, box);
            const double seconds = collectionSeconds(office);
            require(mailCount(office) == newMessages, "not every message is stored");
            return seconds;
        },
        [&] {
            MailOffice office;
            office.makeDurable();
            retrieval = bareRetrievalSeconds(server, box);
            commits = bareCommitSeconds(office.databaseFile());
            return retrieval + commits;
        });
    std::printf("    ours %.2f s; bare %.2f s, for example %.2f s retrieval and %.2f s commits\n", best.ours,
                best.bare, retrieval, commits);
    return report(u"(a) 2,000 new messages of 5 kB / bare loop and commits"_s, best.ours / best.bare, {},
                  best.ours <= 1.5 * best.bare, u"at most 1.5"_s);
}

bool nothingNew(DovecotServer &server)
{
    const QString box = u"kept"_s;
    for (int number = 1; number <= keptMessages; ++number)
        server.deliver(box, "Subject: s\n\nx\n");
    MailOffice office;
    office.account(1, u"user12"_s, server.port(), 1, box);
    collectionSeconds(office);
    require(mailCount(office) == keptMessages, "not every message is stored");
    QSqlDatabase database = QSqlDatabase::database();
    database.setDatabaseName(office.databaseFile());
    require(database.open(), "the database does not open");
    const Rivals best = bestOf(
        7, [&] { return collectionSeconds(office); },
        [&] {
            return secondsOf([&] {
                BareMailbox mailbox(server.port(), box, DovecotServer::password());
                mailbox.listUniqueIds();
                QSqlQuery query(database);
                require(query.exec(u"select MSGID from VO_Email where EOAID=1"_s), "the query fails");
                while (query.next())
                    static_cast<void>(query.value(0).toString());
            });
        });
    require(mailCount(office) == keptMessages, "a message was stored again");
    std::printf("    ours %.3f s; bare %.3f s\n", best.ours, best.bare);
    return report(u"(b) nothing new among 10,000 / bare UIDL and one query"_s, best.ours / best.bare, {},
                  best.ours <= 2 * best.bare, u"at most 2"_s);
}

bool bigAttachment(DovecotServer &server)
{
    QByteArray wire = "Subject: big\nContent-Type: application/zip; name=big.zip\n"
                      "Content-Transfer-Encoding: base64\n\n";
    QByteArray content(attachmentOctets, Qt::Uninitialized);
    QRandomGenerator::securelySeeded().fillRange(reinterpret_cast<quint32 *>(content.data()),
                                                 attachmentOctets / 4);
    {
        const QByteArray encoded = content.toBase64();
        for (qsizetype at = 0; at < encoded.size(); at += 76)
            wire += encoded.mid(at, 76) + '\n';
    }
    server.deliver(u"big"_s, wire);
    const auto size = static_cast<double>(wire.size());
    wire = {};
    MailOffice office;
    office.account(1, u"user12"_s, server.port(), 1, u"big"_s);
    static_cast<void>(peakMemory(Peak::SetBack));
    collectionSeconds(office);
    const auto peak = static_cast<double>(peakMemory());
    Connection reader;
    reader.open(office.connectString());
    require(reader.firstValue(u"select FileContent from VO_EmailAttachments"_s, {})->toByteArray() == content,
            "the attachment is not byte for byte");
    return report(u"(c) peak memory of the whole program / 20 MB mail on the wire"_s, peak / size, {},
                  peak < 6 * size, u"below 6"_s);
}

struct LongLine {
    double seconds = 0;
    double turns = 0; ///< of the line, a message
};

LongLine overALongLine(int serverPort, const QString &box)
{
    const DelayRelay line(serverPort, roundTrip);
    MailOffice office;
    office.account(1, u"user12"_s, line.port(), 1, box);
    const double seconds = collectionSeconds(office);
    require(mailCount(office) == newMessages, "not every message is stored");
    std::printf("    2,000 messages in %.2f s\n", seconds);
    return {seconds, static_cast<double>(line.turns()) / newMessages};
}

/// Requests run ahead of the answers here, so that only the time tells how often the line was waited for.
bool pipelined(DovecotServer &server)
{
    if (server.stored(u"new"_s) == 0) {
        for (int number = 1; number <= newMessages; ++number)
            server.deliver(u"new"_s, usualMail(number));
    }
    const double perMessage = overALongLine(server.port(), u"new"_s).seconds /
                              std::chrono::duration<double>(roundTrip).count() / newMessages;
    return report(u"(d) round trips' time a message, PIPELINING offered"_s, perMessage, {}, perMessage <= 0.1,
                  u"at most 0.1"_s);
}

bool notPipelined()
{
    ScriptedPop3Server::Script script;
    for (int number = 1; number <= newMessages; ++number)
        script.messages += usualMail(number).replace('\n', "\r\n");
    const ScriptedPop3Server server(script);
    const double perMessage = overALongLine(server.port(), u"box"_s).turns;
    // The session's own few commands come on top.
    return report(u"(d) round trips a message, PIPELINING not offered"_s, perMessage, {}, perMessage <= 1.01,
                  u"1, and a few for the session"_s);
}

bool manyAccounts(DovecotServer &server)
{
    const DelayRelay line(server.port(), roundTrip);
    MailOffice office;
    office.oa(u"insert into SMS_Order (OrderName, IsOrder, isPulic) values ('WBYJ', '1', '1')"_s);
    for (int i = 1; i <= accounts; ++i) {
        const QString name = u"user%1"_s.arg(i);
        server.deliver(name, "Subject: s\n\nx\n");
        office.oa(u"insert into VO_UserInfor (UserName, AccountState) values (?, '1')"_s, {name});
        office.account(i, name, line.port(), 1, name);
    }
    Pop3PollingDriver driver(office.session, ServiceSettings(), {}, office.watch, office.kept);
    driver.pass();
    require(mailCount(office) == accounts, "not every message is stored");
    const qint64 before = line.turns();
    const double seconds = secondsOf([&] { driver.pass(); });
    std::printf("    %.1f round trips an account\n", static_cast<double>(line.turns() - before) / accounts);
    return report(u"(e) 200 accounts with nothing new, seconds"_s, seconds, {}, seconds <= 12,
                  u"at most 12"_s);
}

/// parts: letters of those that are measured.
bool measure(const QString &parts)
{
    QSqlDatabase::addDatabase(u"QSQLITE"_s);
    DovecotServer server;
    bool holds = true;
    if (parts.contains(u'a'))
        holds &= newMail(server);
    if (parts.contains(u'b'))
        holds &= nothingNew(server);
    if (parts.contains(u'c'))
        holds &= bigAttachment(server);
    if (parts.contains(u'd')) {
        holds &= pipelined(server);
        holds &= notPipelined();
    }
    if (parts.contains(u'e'))
        holds &= manyAccounts(server);
    return holds;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    try {
        return measure(argc > 1 ? QString::fromLocal8Bit(argv[1]) : u"abcde"_s) ? 0 : 1;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "bench-mailbox: %s\n", error.what());
        return 1;
    }
}
