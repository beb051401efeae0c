#include "mailbox/CollectingProcess.h"

#include "foundation/DatabaseSession.h"
#include "foundation/PassLock.h"
#include "mailbox/CollectionMessages.h"
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
        m_order = CollectionMessages::decodeOrder(in.readLine());
    }

    void report(const CollectionMessages::Report &report) { m_out.write(CollectionMessages::encode(report)); }

    bool beginAccount(qint64 accountKey, const QString &mailbox) override
    {
        if (m_order.passedOverAccounts.contains(accountKey))
            return false;
        report(CollectionMessages::AccountBegins{accountKey, mailbox});
        return true;
    }
    [[nodiscard]] LoginHistory loginHistory(qint64 accountKey) const override
    {
        return m_order.logins.value(accountKey);
    }
    void noteLogin(qint64 accountKey, const LoginHistory &history) override
    {
        m_order.logins.insert(accountKey, history); // a user may be collected twice in a pass
        report(CollectionMessages::LoginTried{accountKey, history});
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
        report(CollectionMessages::MailBegins{mail});
        limitProcessorTime(secondsPerMail);
    }
    void endMail() override
    {
        limitProcessorTime(0);
        report(CollectionMessages::MailEnds());
    }

private:
    QFile m_out;
    CollectionMessages::Order m_order;
};

} // namespace

int runCollectingProcess(const Registry &registry, const MailTrace &trace, const QString &keptMailsFile)
{
    confineProcess(limits);
    Reporter reporter;
    const auto failed = [&](bool databaseGone, const QString &cause) {
        reporter.report(CollectionMessages::PassFailed{databaseGone, cause});
    };
    try {
        DatabaseSession session(registry);
        KeptMails kept(keptMailsFile);
        if (session.OpenDB()) {
            const PassLock lock(session.Conn(), registry, QStringLiteral("collection"));
            if (lock.isOurs())
                Pop3PollingDriver(session, registry, trace, reporter, kept).pass();
        } else
            failed(true, session.openFailure());
    } catch (const DatabaseFault &fault) {
        failed(fault.kind() != DatabaseFault::Kind::Refused, fault.message());
    } catch (const std::exception &error) {
        failed(false, QString::fromUtf8(error.what()));
    }
    return 0;
}
