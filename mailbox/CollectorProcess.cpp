#include "mailbox/CollectorProcess.h"

#include "foundation/DatabaseSession.h"
#include "foundation/PassLock.h"
#include "mailbox/CollectorProtocol.h"
#include "mailbox/Pop3PollingDriver.h"
#include "platform/process/Confinement.h"

#include <QFile>
#include <cstdio>

namespace
{

/// The largest message that is collected costs about a gigabyte while it is stored.
constexpr ProcessLimits limits{qint64(2) << 30, 256};
/// Far beyond what the largest message needs, parsing and storing together.
constexpr int secondsPerMail = 60;

class Reporter final : public CollectionWatch
{
public:
    Reporter()
    {
        static_cast<void>(m_out.open(stdout, QIODevice::WriteOnly | QIODevice::Unbuffered));
        QFile in;
        static_cast<void>(in.open(stdin, QIODevice::ReadOnly));
        m_order = CollectorProtocol::decodeOrder(in.readLine());
    }

    void report(const CollectorProtocol::Report &report) { m_out.write(CollectorProtocol::encode(report)); }

    [[nodiscard]] bool isOneAtATime() const { return m_order.isOneAtATime; }

    [[nodiscard]] bool admitsAccount(qint64 accountKey) const override
    {
        return !m_order.passedOverAccounts.contains(accountKey);
    }
    void beginAccount(qint64 accountKey, const QString &mailbox) override
    {
        report(CollectorProtocol::AccountBegins{accountKey, mailbox});
    }
    [[nodiscard]] AccountHistory history(qint64 accountKey) const override
    {
        return m_order.histories.value(accountKey);
    }
    void noteHistory(qint64 accountKey, const AccountHistory &history) override
    {
        m_order.histories.insert(accountKey, history);
        report(CollectorProtocol::AccountLearnt{accountKey, history});
    }
    [[nodiscard]] bool admits(const MailKey &mail) const override
    {
        return !m_order.passedOverMails.contains(mail);
    }
    [[nodiscard]] bool readsPlainly(const MailKey &mail) const override
    {
        return m_order.plainMails.contains(mail);
    }
    void beginMail(const MailKey &mail) override
    {
        report(CollectorProtocol::MailBegins{mail});
        limitProcessorTime(secondsPerMail);
    }
    void endMail() override
    {
        limitProcessorTime(0);
        report(CollectorProtocol::MailEnds());
    }

private:
    QFile m_out;
    CollectorProtocol::Order m_order;
};

} // namespace

int runCollector(const Registry &registry, const MailTrace &trace, const QString &keptMailsFile)
{
    confineProcess(limits);
    Reporter reporter;
    const auto failed = [&](bool databaseGone, const QString &cause) {
        reporter.report(CollectorProtocol::PassFailed{databaseGone, cause});
    };
    try {
        DatabaseSession session(registry);
        KeptMails kept(keptMailsFile);
        if (session.OpenDB()) {
            session.Conn().spareMemory();
            const PassLock lock(session.Conn(), registry, QStringLiteral("collection"));
            Pop3PollingDriver driver(session, registry, trace, reporter, kept);
            if (reporter.isOneAtATime())
                driver.logInOneAtATime();
            if (lock.isOurs())
                driver.pass();
            if (kept.error().isError())
                failed(false, QStringLiteral("无法读取 %1：%2，邮件收取后保留在邮件服务器上")
                                  .arg(keptMailsFile, kept.error().text()));
            for (const QString &table : session.Conn().takeReplacedTables())
                reporter.report(CollectorProtocol::CharactersReplaced{table});
        } else
            failed(true, session.openFailure());
    } catch (const DatabaseFault &fault) {
        failed(fault.kind() != DatabaseFault::Kind::Refused, fault.message());
    } catch (const std::exception &error) {
        failed(false, QString::fromUtf8(error.what()));
    }
    return 0;
}
