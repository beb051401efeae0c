#include "mailbox/CollectorProcess.h"

#include "foundation/DatabaseSession.h"
#include "foundation/PassLock.h"
#include "mailbox/Pop3PollingDriver.h"
#include "platform/process/Confinement.h"

#include <QFile>
#include <cstdio>

using namespace std::chrono_literals;

namespace
{

/// The largest message that is collected costs about a gigabyte while it is stored.
constexpr ProcessLimits limits{qint64(2) << 30, 256};
/// Far beyond what the largest message needs, parsing and storing together.
constexpr std::chrono::seconds timePerMail = 60s;

class Reporter final : public CollectionWatch
{
public:
    explicit Reporter(CollectorState known) : CollectionWatch(std::move(known))
    {
        static_cast<void>(m_out.open(stdout, QIODevice::WriteOnly | QIODevice::Unbuffered));
    }

    void told(const CollectorProtocol::Report &report) override
    {
        m_out.write(CollectorProtocol::encode(report));
        const bool isOfMail = std::holds_alternative<CollectorProtocol::MailBegins>(report);
        limitProcessorTime(isOfMail ? timePerMail : 0s);
    }

private:
    QFile m_out;
};

CollectorState readState()
{
    QFile in;
    static_cast<void>(in.open(stdin, QIODevice::ReadOnly));
    return CollectorProtocol::decodeState(in.readLine()).value_or(CollectorState());
}

} // namespace

int runCollector(const Registry &registry, const MailTrace &trace, const QString &keptMailsFile)
{
    confineProcess(limits);
    const CollectorState state = readState();
    Reporter reporter(state);
    const auto failed = [&](bool databaseGone, const QString &cause) {
        reporter.told(CollectorProtocol::PassFailed{databaseGone, cause});
    };
    try {
        DatabaseSession session(registry, state.connectString);
        KeptMails kept(keptMailsFile);
        if (session.OpenDB()) {
            session.Conn().spareMemory();
            const PassLock lock(session.Conn(), state.areServersSeveral, QStringLiteral("collection"));
            ServiceSettings settings;
            settings.verifiesMailServers = state.verifiesMailServers;
            settings.attachesHiddenText = state.attachesHiddenText;
            Pop3PollingDriver driver(session, settings, trace, reporter, kept);
            if (lock.isOurs())
                driver.pass();
            if (kept.error().isError())
                failed(false, QStringLiteral("无法读取 %1：%2，邮件收取后保留在邮件服务器上")
                                  .arg(keptMailsFile, kept.error().text()));
            for (const QString &table : session.Conn().takeReplacedTables())
                reporter.told(CollectorProtocol::CharactersReplaced{table});
        } else
            failed(true, session.openFailure());
    } catch (const DatabaseFault &fault) {
        failed(fault.kind() == DatabaseFault::Kind::Lost || fault.kind() == DatabaseFault::Kind::Unavailable,
               fault.message());
    } catch (const std::exception &error) {
        failed(false, QString::fromUtf8(error.what()));
    }
    return 0;
}
