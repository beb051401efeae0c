// bench-office: the built server with a simulated modem beside an OA system at work on the same database. The
// OA system writes waiting rows, some of them many at once, withdraws some of them, edits users, and reads
// results all the time. At the end every message that was not withdrawn in time has gone out once, no other
// has, and no reader has waited for long.
// bench-office [SECONDS [sqlite|sqlite-wal|postgresql|mariadb]...], 600 seconds on each as a rule.

#include "bench/Measure.h"
#include "bench/StartedServer.h"
#include "outgoing/MessagePieces.h"
#include "tests/support/Office.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QHash>
#include <QRandomGenerator>
#include <QSqlError>
#include <QThread>
#include <atomic>
#include <cstdio>
#include <thread>

using namespace Qt::StringLiterals;

namespace
{

constexpr int userCount = 100;
constexpr int burstRows = 300;
constexpr qint64 burstDistanceMilliseconds = 20'000;
constexpr qint64 drainLimitMilliseconds = 300'000;

/// A connection of the OA system, for one thread.
class OaConnection
{
public:
    OaConnection(const Office &office, const QString &name)
        : m_database(QSqlDatabase::cloneDatabase(office.oaConnection(), name))
    {
        if (!m_database.open(PrivateDatabaseServer::user(), PrivateDatabaseServer::password()))
            throw Fault(m_database.lastError().text());
    }
    ~OaConnection()
    {
        const QString name = m_database.connectionName();
        m_database = {};
        QSqlDatabase::removeDatabase(name);
    }
    OaConnection(const OaConnection &) = delete;
    OaConnection &operator=(const OaConnection &) = delete;

    QSqlQuery run(const QString &sql, const QVariantList &values = {})
    {
        QSqlQuery query(m_database);
        bool isDone = query.prepare(sql);
        for (const QVariant &value : values)
            query.addBindValue(value);
        isDone = isDone && query.exec();
        if (!isDone)
            throw Fault(sql + u": "_s + query.lastError().text());
        return query;
    }
    int number(const QString &sql)
    {
        QSqlQuery query = run(sql);
        query.next();
        return query.value(0).toInt();
    }
    void begin() { m_database.transaction(); }
    void commit()
    {
        if (!m_database.commit())
            throw Fault(m_database.lastError().text());
    }

private:
    QSqlDatabase m_database;
};

/// Reads the newest results all the time.
class Reader
{
public:
    explicit Reader(const Office &office) : m_thread([this, &office] { read(office); }) {}
    ~Reader()
    {
        m_isOver = true;
        m_thread.join();
    }
    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;
    [[nodiscard]] qint64 worstMilliseconds() const { return m_worst; }
    [[nodiscard]] int readings() const { return m_readings; }

private:
    void read(const Office &office)
    {
        try {
            OaConnection oa(office, u"reader"_s);
            qint64 newest = 0;
            while (!m_isOver) {
                QElapsedTimer timer;
                timer.start();
                QSqlQuery results =
                    oa.run(u"select OAID, ToMB, MsgContent, IsSuccess from SMS_ResultDetail where OAID>?"_s,
                           {newest});
                while (results.next())
                    newest = qMax(newest, results.value(0).toLongLong());
                results.finish();
                m_worst = qMax(qint64(m_worst), timer.elapsed());
                ++m_readings;
                QThread::msleep(20);
            }
        } catch (const std::exception &error) {
            qFatal("reader: %s", error.what());
        }
    }

    std::atomic<bool> m_isOver = false;
    std::atomic<qint64> m_worst = 0;
    std::atomic<int> m_readings = 0;
    std::thread m_thread; // last: the others exist before it runs
};

struct Message {
    QStringList recipients;
    QString text;
    bool isWithdrawn = false;
};

/// The OA system's writing side.
class OaSystem
{
public:
    explicit OaSystem(const Office &office) : m_oa(office, u"writer"_s)
    {
        // Not its own commits are under test.
        if (office.route() == DatabaseRoute::Sqlite)
            m_oa.run(u"pragma synchronous=off"_s);
        for (int i = 0; i < userCount; ++i)
            m_oa.run(u"insert into VO_UserInfor (UserName, Mobile, AccountState) values (?, ?, '1')"_s,
                     {user(i), mobile(i)});
    }

    void work(qint64 milliseconds)
    {
        QElapsedTimer clock;
        clock.start();
        qint64 nextBurst = burstDistanceMilliseconds / 2;
        while (clock.elapsed() < milliseconds) {
            if (clock.elapsed() >= nextBurst) {
                nextBurst += burstDistanceMilliseconds;
                timed([this] {
                    m_oa.begin();
                    for (int i = 0; i < burstRows; ++i)
                        write();
                    m_oa.commit();
                });
            }
            timed([this] { write(); });
            if (below(3) == 0)
                timed([this] { withdraw(); });
            timed([this] {
                m_oa.run(u"update VO_UserInfor set TureName=? where UserName=?"_s,
                         {QString::number(below(1000)), user(below(userCount))});
            });
            QThread::msleep(100);
        }
    }
    /// Waits until the server has nothing more to do; false when it does not come to that.
    bool drain()
    {
        QElapsedTimer clock;
        clock.start();
        while (m_oa.number(u"select count(*) from SMS_WaitToSend"_s) > 0 ||
               m_oa.number(u"select count(*) from SMS_Queues"_s) > 0) {
            if (clock.elapsed() > drainLimitMilliseconds)
                return false;
            QThread::msleep(200);
        }
        return true;
    }
    int results() { return m_oa.number(u"select count(*) from SMS_ResultDetail"_s); }
    [[nodiscard]] const QList<Message> &messages() const { return m_messages; }
    [[nodiscard]] qint64 worstMilliseconds() const { return m_worst; }
    static QString mobile(int user) { return QString::number(13800000000 + user); }
    static QString mobile(const QString &user) { return mobile(user.mid(1).toInt()); }

private:
    static QString user(int number) { return u"u%1"_s.arg(number); }
    int below(int limit) { return m_random.bounded(limit); }

    template <typename Work>
    void timed(Work work)
    {
        QElapsedTimer timer;
        timer.start();
        work();
        m_worst = qMax(m_worst, timer.elapsed());
    }
    void write()
    {
        Message message;
        for (int i = below(3); i >= 0; --i)
            message.recipients += user(below(userCount));
        const QString name = u"m%1"_s.arg(m_messages.size());
        // Each piece tells whose it is.
        message.text = (name + u'长').repeated(below(10) == 0 ? 30 : 4);
        const QString due = QDateTime::currentDateTime().addSecs(below(4)).toString(u"yyyy-MM-dd HH:mm:ss"_s);
        m_oa.run(u"insert into SMS_WaitToSend (ToSendDT, FromUserName, ToUserList, ToNameList, CreateDT,"
                 " MsgType, MsgContent) values (?, 'boss', ?, ?, ?, '1', ?)"_s,
                 {due, message.recipients.join(u';'), name, due, message.text});
        m_messages += message;
    }
    /// One of the last messages, some of which are being expanded just now.
    /// Only a withdrawal that took a row counts.
    void withdraw()
    {
        const qsizetype number = m_messages.size() - 1 - below(int(qMin<qsizetype>(60, m_messages.size())));
        if (m_oa.run(u"delete from SMS_WaitToSend where ToNameList=?"_s, {u"m%1"_s.arg(number)})
                .numRowsAffected() > 0)
            m_messages[number].isWithdrawn = true;
    }

    OaConnection m_oa;
    QRandomGenerator m_random{1};
    QList<Message> m_messages;
    qint64 m_worst = 0;
};

struct Outcome {
    int sent = 0;
    int withdrawn = 0;
    int lost = 0;
    int doubled = 0;
    int withdrawnYetSent = 0;
};

Outcome compare(const QList<Message> &messages, const QList<SentMessage> &sent)
{
    Outcome outcome;
    QHash<QString, int> left; // SMS that should have gone out and were not met yet
    QHash<QString, int> withdrawn;
    for (const Message &message : messages) {
        outcome.withdrawn += message.isWithdrawn;
        for (const QString &recipient : message.recipients) {
            for (const QString &piece : cutIntoPieces(message.text))
                ++(message.isWithdrawn ? withdrawn : left)[OaSystem::mobile(recipient) + u' ' + piece];
        }
    }
    for (const SentMessage &message : sent) {
        const QString key = message.number + u' ' + message.text;
        ++outcome.sent;
        if (left.value(key) > 0)
            --left[key];
        else if (withdrawn.contains(key) && !left.contains(key))
            ++outcome.withdrawnYetSent;
        else
            ++outcome.doubled;
    }
    for (const int count : std::as_const(left))
        outcome.lost += count;
    return outcome;
}

bool beside(DatabaseRoute route, bool isWriteAhead, const QString &name, int seconds)
{
    Office office(route);
    if (isWriteAhead)
        office.oa(u"pragma journal_mode=wal"_s);
    const SimulatorProcess simulator;
    office.configureModem(simulator.devicePath(), 1);
    OaSystem oa(office);
    const Reader reader(office);
    bool isDrained = false;
    {
        const StartedServer server(office.registry.fileName(), {u"--log-file"_s, office.path(u"log"_s)});
        oa.work(seconds * qint64(1000));
        isDrained = oa.drain();
    }
    const Outcome outcome = compare(oa.messages(), simulator.sent());
    std::printf("%s: %d messages, %d withdrawn, %d SMS sent, %d results, %d readings; worst write %d ms\n",
                qPrintable(name), int(oa.messages().size()), outcome.withdrawn, outcome.sent, oa.results(),
                reader.readings(), int(oa.worstMilliseconds()));
    QFile log(office.path(u"log"_s));
    if (log.open(QIODevice::ReadOnly))
        std::printf("%s", log.readAll().constData());
    const auto none = [&](const QString &what, int count) {
        return report(name + u": "_s + what, count, u""_s, count == 0, u"0"_s);
    };
    bool holds = report(name + u": results a sent SMS"_s, double(oa.results()) / outcome.sent, u""_s,
                        isDrained && oa.results() == outcome.sent, u"1"_s);
    holds = none(u"lost"_s, outcome.lost) && holds;
    holds = none(u"doubled"_s, outcome.doubled) && holds;
    holds = none(u"withdrawn yet sent"_s, outcome.withdrawnYetSent) && holds;
    return report(name + u": a reader's longest wait"_s, double(reader.worstMilliseconds()), u"ms"_s,
                  reader.worstMilliseconds() < 1000, u"below 1000"_s) &&
           holds;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const int seconds = arguments.size() > 1 ? arguments[1].toInt() : 600;
    const QStringList wanted = arguments.mid(2);
    bool holds = true;
    try {
        for (const auto &[name, route] : {std::pair(u"sqlite"_s, DatabaseRoute::Sqlite),
                                          std::pair(u"sqlite-wal"_s, DatabaseRoute::Sqlite),
                                          std::pair(u"postgresql"_s, DatabaseRoute::PostgreSql),
                                          std::pair(u"mariadb"_s, DatabaseRoute::MariaDb)}) {
            if (wanted.isEmpty() || wanted.contains(name))
                holds = beside(route, name == u"sqlite-wal", name, seconds) && holds;
        }
    } catch (const std::exception &error) {
        std::fprintf(stderr, "bench-office: %s\n", error.what());
        return 1;
    }
    return holds ? 0 : 1;
}
