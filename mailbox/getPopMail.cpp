#include "mailbox/getPopMail.h"

#include "mailbox/MailAccount.h"
#include "mailbox/MailboxListing.h"
#include "mailbox/StoreMail.h"

#include <QElapsedTimer>

using namespace Qt::StringLiterals;

namespace
{

/// One account's turn.
class AccountDownload
{
public:
    AccountDownload(const QString &userName, const MailAccount &account, MailCollection &collection)
        : m_userName(userName), m_account(account), m_collection(collection)
    {
        m_sinceBegin.start();
    }

    /// Throws DatabaseFault when the database serves nobody.
    void run()
    {
        Pop3Options options = m_collection.pop3;
        options.isEnough = [this] {
            return std::chrono::milliseconds(m_sinceBegin.elapsed()) >= m_collection.accountBudget;
        };
        if (!runSession(options) && options.pipelining) {
            // Some servers offer pipelining and drop what comes early, or end a message in a doubtful way.
            options.pipelining = false;
            note(u"改为逐条收取"_s);
            static_cast<void>(runSession(options));
        }
    }

private:
    /// False when answers and questions did not fit together.
    [[nodiscard]] bool runSession(const Pop3Options &options)
    {
        m_client.emplace(options);
        try {
            download();
        } catch (const DatabaseFault &fault) {
            if (!fault.concernsOneRow())
                throw;
            note(fault.message());
        } catch (const Pop3Fault &fault) {
            note(fault.message());
            if (fault.kind() == Pop3Fault::Kind::OutOfStep)
                return false;
            if (fault.kind() == Pop3Fault::Kind::TimedOut)
                m_collection.silentServers.insert(server());
        } catch (const std::exception &error) { // memory is short, or the state file cannot be written
            note(QString::fromUtf8(error.what()));
        }
        return true;
    }

    void download()
    {
        if (!m_account.OAID) {
            note(u"SA_email.OAID 不是整数"_s);
            return;
        }
        if (!m_collection.watch.beginAccount(*m_account.OAID, mailbox()) || !connect())
            return;
        MailboxListing listing(*m_client, m_collection.connection, *m_account.OAID);
        storeNewMessages(listing);
        // After a stop the line is dropped: a server may take long over a farewell.
        if (m_collection.stopRequested())
            return;
        if (!m_account.keepsCopies) {
            QList<int> deletable = listing.stored();
            deletable.removeIf([&](int number) { return m_collection.kept.contains(keyOf(number)); });
            const QList<int> refused = m_client->DeleteMessages(deletable);
            for (const int number : refused)
                note(u"服务器没有删除第%1封邮件"_s.arg(number));
        }
        if (!m_client->Disconnect())
            note(u"服务器没有确认结束会话"_s);
    }

    void note(const QString &text) const { m_collection.trace.note(mailbox() + u"："_s + text); }

    [[nodiscard]] QString mailbox() const
    {
        return u"用户 %1 的邮箱 %2 @ %3"_s.arg(m_userName, m_account.EUsername, m_account.POPIP);
    }

    [[nodiscard]] QString server() const
    {
        return m_account.POPIP.trimmed().toLower() + u':' + QString::number(m_account.PopPort);
    }

    bool connect()
    {
        if (m_collection.silentServers.contains(server()))
            return false;
        const QDateTime now = QDateTime::currentDateTime();
        const LoginHistory history =
            validHistory(m_collection.watch.loginHistory(*m_account.OAID), m_account);
        if (!mayLogIn(history, now)) {
            note(u"上次登录之后时间太短，稍后再试"_s);
            return false;
        }
        const Pop3ConnectResult result = m_client->Connect(m_account.EUsername, m_account.EPassword,
                                                           m_account.POPIP, m_account.PopPort, history.ways);
        m_collection.watch.noteLogin(*m_account.OAID,
                                     afterLogin(history, result, QDateTime::currentDateTime()));
        if (result.connected())
            return true;
        if (result.outcome == Pop3ConnectOutcome::HostUnreachable ||
            result.outcome == Pop3ConnectOutcome::TimedOut)
            m_collection.silentServers.insert(server());
        note(result.text);
        return false;
    }

    [[nodiscard]] MailKey keyOf(int number)
    {
        return {*m_account.OAID, m_client->GetMessageUID(number).value()};
    }

    void storeNewMessages(MailboxListing &listing)
    {
        QList<int> numbers = listing.unstored();
        numbers.removeIf([&](int number) { return !m_collection.watch.admits(keyOf(number)); });
        m_client->retrieve(numbers, [&](int number, Pop3Client::Retrieved message) {
            if (const auto *refusal = std::get_if<Pop3Refusal>(&message)) {
                note(u"第%1封邮件取不到：%2"_s.arg(number).arg(refusal->text));
                return;
            }
            const MailKey key = keyOf(number);
            m_collection.watch.beginMail(key);
            if (store(key, std::get<QByteArray>(std::move(message))))
                listing.noteStored(number);
            m_collection.watch.endMail();
        });
    }

    /// False, with a note, when this mail cannot be stored but others may be.
    [[nodiscard]] bool store(const MailKey &key, QByteArray octets)
    {
        try {
            const bool isPlain = m_collection.watch.readsPlainly(key);
            storeMail(m_collection.connection,
                      {m_userName, key.accountKey, key.uid,
                       isPlain ? MimeMessage::readPlainly(std::move(octets)) : MimeMessage(std::move(octets)),
                       m_collection.attachHiddenText},
                      m_collection.kept, m_collection.trace);
            return true;
        } catch (const DatabaseFault &fault) {
            if (!fault.concernsOneRow())
                throw;
            note(u"邮件 %1 未能保存：%2"_s.arg(key.uid, fault.message()));
        } catch (const std::bad_alloc &) {
            note(u"邮件 %1 未能保存：内存不足"_s.arg(key.uid));
        }
        return false;
    }

    const QString &m_userName;
    const MailAccount &m_account;
    MailCollection &m_collection;
    QElapsedTimer m_sinceBegin;
    std::optional<Pop3Client> m_client;
};

void downloadAccounts(const QString &userName, MailCollection &collection)
{
    const QList<MailAccount> accounts = mailAccounts(collection.connection, userName);
    for (const MailAccount &account : accounts) {
        if (collection.stopRequested())
            return;
        AccountDownload(userName, account, collection).run();
    }
}

} // namespace

void getPopMail(const QString &strUserName, MailCollection &collection) noexcept
{
    try {
        downloadAccounts(strUserName, collection);
    } catch (const DatabaseFault &fault) {
        if (!fault.concernsOneRow())
            collection.databaseGone = fault;
        collection.trace.note(fault.message());
    } catch (const std::exception &error) {
        collection.trace.note(QString::fromUtf8(error.what()));
    }
}
