#include "mailbox/CollectorProcess.h"

#include "foundation/DatabaseSession.h"
#include "foundation/PassLock.h"
#include "mailbox/Pop3PollingDriver.h"
#include "platform/process/Confinement.h"

#include <QFile>
#include <cerrno>
#include <cstdio>
#include <unistd.h>

using namespace std::chrono_literals;

namespace
{

/// The largest message that is collected costs about a gigabyte while it is stored.
constexpr ProcessLimits limits{qint64(2) << 30, 1024};
/// Far beyond what the largest message needs, parsing and storing together.
constexpr std::chrono::seconds timePerMail = 60s;

class Reporter final : public CollectionWatch
{
public:
    Reporter() { static_cast<void>(m_out.open(STDOUT_FILENO, QIODevice::WriteOnly | QIODevice::Unbuffered)); }

    void told(const CollectorProtocol::Report &report) override
    {
        m_out.write(CollectorProtocol::encode(report));
        if (std::holds_alternative<CollectorProtocol::MailBegins>(report))
            limitProcessorTime(timePerMail);
        else if (std::holds_alternative<CollectorProtocol::MailEnds>(report))
            limitProcessorTime(0s);
    }

private:
    QFile m_out;
};

/// The next line of standard input, without its end; nothing when there will be none. wait: until there is some input.
template <typename Wait>
std::optional<QByteArray> readLine(QByteArray &input, Wait wait)
{
    std::array<char, 65536> octets{};
    for (qsizetype end = input.indexOf('\n');; end = input.indexOf('\n')) {
        if (end >= 0) {
            const QByteArray line = input.left(end);
            input.remove(0, end + 1);
            return line;
        }
        wait();
        const ssize_t got = ::read(STDIN_FILENO, octets.data(), octets.size());
        if (got == 0 || (got < 0 && errno != EINTR))
            return std::nullopt;
        input.append(octets.data(), std::max<ssize_t>(got, 0));
    }
}

/// What the passes share.
class Work
{
public:
    Work(const Registry &registry, const MailTrace &trace, QString keptMailsFile,
         const QString &connectString)
        : m_session(registry, connectString),
          m_keptMailsFile(std::move(keptMailsFile)),
          m_kept(std::in_place, m_keptMailsFile),
          m_driver(m_session, {}, trace, m_reporter, *m_kept)
    {
    }

    void pass(const CollectorState &state)
    {
        m_reporter.know(state);
        try {
            passOnDatabase(state);
        } catch (const DatabaseFault &fault) {
            failed(fault.kind() == DatabaseFault::Kind::Lost ||
                       fault.kind() == DatabaseFault::Kind::Unavailable,
                   fault.message());
        } catch (const std::exception &error) {
            failed(false, QString::fromUtf8(error.what()));
        }
        m_reporter.told(CollectorProtocol::PassEnds());
    }
    void goOnUntilInput() { m_driver.goOnUntilReadable(STDIN_FILENO); }

private:
    void failed(bool databaseGone, const QString &cause)
    {
        m_reporter.told(CollectorProtocol::PassFailed{databaseGone, cause});
    }
    void passOnDatabase(const CollectorState &state)
    {
        Connection &connection = m_session.Conn();
        if (!connection.isOpen()) {
            m_lock.reset();
            if (!m_session.OpenDB())
                return failed(true, m_session.openFailure());
            connection.spareMemory();
        }
        if (m_kept->error().isError())
            m_kept.emplace(m_keptMailsFile);
        ServiceSettings settings;
        settings.verifiesMailServers = state.verifiesMailServers;
        settings.attachesHiddenText = state.attachesHiddenText;
        m_driver.setSettings(settings);
        if (!m_lock)
            m_lock.emplace(connection, state.areServersSeveral, QStringLiteral("collection"));
        const bool isOurs = m_lock->isOurs();
        if (isOurs)
            m_driver.pass();
        // Kept from pass to pass, so that one server knows how often a login was refused.
        if (!isOurs)
            m_lock.reset();
        if (m_kept->error().isError())
            failed(false, QStringLiteral("无法读取 %1：%2，邮件收取后保留在邮件服务器上")
                              .arg(m_keptMailsFile, m_kept->error().text()));
        for (const QString &table : connection.takeReplacedTables())
            m_reporter.told(CollectorProtocol::CharactersReplaced{table});
    }

    Reporter m_reporter;
    DatabaseSession m_session;
    QString m_keptMailsFile;
    std::optional<KeptMails> m_kept;
    std::optional<PassLock> m_lock;
    Pop3PollingDriver m_driver;
};

} // namespace

int runCollector(const Registry &registry, const MailTrace &trace, const QString &keptMailsFile)
{
    confineProcess(limits);
    QByteArray input;
    std::optional<Work> work;
    const auto wait = [&work] {
        if (work)
            work->goOnUntilInput();
    };
    while (const auto line = readLine(input, wait)) {
        const CollectorState state = CollectorProtocol::decodeState(*line).value_or(CollectorState());
        if (!work)
            work.emplace(registry, trace, keptMailsFile, state.connectString);
        work->pass(state);
    }
    ::_exit(0); // the service is gone, and with it all that is under way
}
