#include "mailbox/AccountDownload.h"

#include "mailbox/MailboxListing.h"
#include "mailbox/StoreMail.h"

#include <QCryptographicHash>

using namespace Qt::StringLiterals;

namespace
{

QByteArray digest(const QList<qint64> &sizes)
{
    QCryptographicHash hash(QCryptographicHash::Sha1);
    for (const qint64 size : sizes)
        hash.addData(QByteArray::number(size) + ' ');
    return hash.result().toHex();
}

} // namespace

AccountDownload::AccountDownload(QString userName, MailAccount account, CollectionPass &pass)
    : m_userName(std::move(userName)), m_account(std::move(account)), m_pass(pass)
{
}

QString AccountDownload::server() const
{
    return m_account.POPIP.trimmed().toLower() + u':' + QString::number(m_account.PopPort);
}

QString AccountDownload::shownName() const
{
    return u"用户 %1 的邮箱 %2 @ %3"_s.arg(m_userName, m_account.EUsername, m_account.POPIP);
}

void AccountDownload::note(const QString &text) const
{
    m_pass.trace.note(shownName() + u"："_s + text);
}

MailKey AccountDownload::keyOf(int number)
{
    return {*m_account.OAID, m_client->GetMessageUID(number).value()};
}

AccountHistory AccountDownload::history() const
{
    return validHistory(m_pass.watch.known().histories.value(*m_account.OAID), m_account);
}

bool AccountDownload::isAdmitted() const
{
    return m_account.OAID && !m_pass.watch.known().passedOverAccounts.contains(*m_account.OAID);
}

bool AccountDownload::mayConnect() const
{
    return isAdmitted() && !m_pass.silentServers.contains(server()) &&
           mayLogIn(history(), QDateTime::currentDateTime());
}

bool AccountDownload::logInAhead()
{
    if (!mayConnect())
        return false;
    m_isAhead = true;
    begin();
    return true;
}

void AccountDownload::begin()
{
    const AccountHistory known = history();
    Pop3Options options = m_pass.pop3;
    m_isOneByOne = m_isOneByOne || known.isOneByOne || !options.pipelining;
    options.pipelining = !m_isOneByOne;
    options.isEnough = [this] {
        return std::chrono::milliseconds(m_sinceBegin.elapsed()) >= m_pass.accountBudget;
    };
    if (m_isAhead && options.trace) { // its lines come between those of others
        options.trace = [show = options.trace, who = u"[%1] "_s.arg(mailbox())](
                            Pop3Direction direction, const QString &line) { show(direction, who + line); };
    }
    m_client.emplace(options);
    m_client->beginConnect(m_account.EUsername, m_account.EPassword, m_account.POPIP, m_account.PopPort,
                           known.ways, [this](const Pop3ConnectResult &result) { noteAnswer(result); });
}

/// Some servers serve one session at a time, or few of one address.
bool AccountDownload::isInVain(const Pop3ConnectResult &result) const
{
    using enum Pop3ConnectOutcome;
    return m_isAhead && m_pass.answeringServers.contains(server()) &&
           (result.outcome == HostUnreachable || result.outcome == TimedOut || result.outcome == LineLost);
}

void AccountDownload::noteAnswer(const Pop3ConnectResult &result)
{
    if (isInVain(result))
        return;
    m_pass.watch.learn(*m_account.OAID, afterLogin(history(), result, QDateTime::currentDateTime()));
    if (result.connected())
        m_pass.answeringServers.insert(server());
    else if (result.outcome == Pop3ConnectOutcome::HostUnreachable ||
             result.outcome == Pop3ConnectOutcome::TimedOut)
        m_pass.silentServers.insert(server());
}

bool AccountDownload::connect()
{
    if (!isBegun()) {
        if (m_pass.silentServers.contains(server()))
            return false;
        if (!mayLogIn(history(), QDateTime::currentDateTime())) {
            note(u"上次登录之后时间太短，稍后再试"_s);
            return false;
        }
        begin();
    }
    const Pop3ConnectResult result = m_client->finishConnect();
    if (isInVain(result)) {
        m_isAhead = false;
        m_client.reset();
        return connect();
    }
    if (!result.connected())
        note(result.text);
    return result.connected() && !m_pass.silentServers.contains(server());
}

void AccountDownload::run()
{
    if (!m_account.OAID) {
        note(u"SA_email.OAID 不是整数"_s);
        return;
    }
    if (!isAdmitted())
        return;
    m_pass.watch.told(CollectorProtocol::AccountBegins{*m_account.OAID, shownName()});
    m_sinceBegin.start();
    End end = runSession();
    if (end == End::GoneAhead)
        end = runSession();
    if (end == End::OutOfStep && !m_isOneByOne) {
        // Some servers offer pipelining and drop what comes early, or end a message in a doubtful way.
        goOneByOne();
        static_cast<void>(runSession());
    }
    m_client.reset();
}

void AccountDownload::goOneByOne()
{
    m_isOneByOne = true;
    AccountHistory known = history();
    known.isOneByOne = true;
    m_pass.watch.learn(*m_account.OAID, known);
    note(u"改为逐条收取"_s);
}

AccountDownload::End AccountDownload::runSession()
{
    End end = End::Done;
    try {
        download();
    } catch (const DatabaseFault &fault) {
        if (!fault.concernsOneRow())
            throw;
        note(fault.message());
    } catch (const Pop3Fault &fault) {
        note(fault.message());
        if (fault.kind() == Pop3Fault::Kind::OutOfStep)
            end = End::OutOfStep;
        else if (fault.kind() == Pop3Fault::Kind::TimedOut) {
            m_pass.silentServers.insert(server());
            if (m_client->hasAskedAhead()) // it may have dropped what came early
                goOneByOne();
        } else if (m_isAhead && !m_isListed)
            end = End::GoneAhead;
    } catch (const std::exception &error) { // memory is short, or the state file cannot be written
        note(QString::fromUtf8(error.what()));
    }
    m_client.reset();
    m_isAhead = false;
    return end;
}

void AccountDownload::download()
{
    if (!connect())
        return;
    m_isListed = false;
    MailboxListing listing(*m_client, m_pass.connection, *m_account.OAID);
    m_isListed = true;
    if (!m_client->tellsUniqueIds() && m_client->Count() > 0)
        note(u"服务器不提供邮件标识（UIDL），邮件不会收取"_s);
    if (listing.hasReusedIds())
        note(u"服务器给不同的邮件同一个标识，本次不删除任何邮件"_s);
    // A mailbox that is emptied shows unknown ids all the time.
    const bool isUnknown =
        m_account.keepsCopies && listing.stored().isEmpty() && !listing.unstored().isEmpty();
    const QByteArray sizes = isUnknown ? digest(m_client->sizes()) : QByteArray();
    storeNewMessages(listing);
    noteIds(listing, sizes);
    // After a stop the line is dropped: a server may take long over a farewell.
    if (m_pass.pop3.stopRequested())
        return;
    deleteStored(listing);
    if (!m_client->Disconnect())
        note(u"服务器没有确认结束会话"_s);
}

/// sizes: those of a listing in which no id was known, else empty.
void AccountDownload::noteIds(const MailboxListing &listing, const QByteArray &sizes)
{
    const bool counts = !sizes.isEmpty() && !listing.stored().isEmpty();
    const AccountHistory before = history();
    AccountHistory known = before;
    known.unknownSizes = counts ? sizes : QByteArray();
    known.unknownIds = counts ? listing.digest() : QByteArray();
    known.areIdsChanging =
        counts && known.unknownSizes == before.unknownSizes && known.unknownIds != before.unknownIds;
    if (known.areIdsChanging)
        note(u"服务器每次都更换邮件标识，同样的邮件会重复保存"_s);
    if (known != before)
        m_pass.watch.learn(*m_account.OAID, known);
}

void AccountDownload::storeNewMessages(MailboxListing &listing)
{
    QList<int> numbers = listing.unstored();
    numbers.removeIf(
        [&](int number) { return m_pass.watch.known().passedOverMails.contains(keyOf(number)); });
    m_client->retrieve(numbers, [&](int number, Pop3Client::Retrieved message) {
        if (const auto *refusal = std::get_if<Pop3Refusal>(&message)) {
            note(u"第%1封邮件取不到：%2"_s.arg(number).arg(refusal->text));
            return;
        }
        const MailKey key = keyOf(number);
        m_pass.watch.told(CollectorProtocol::MailBegins{key});
        if (store(key, std::get<QByteArray>(std::move(message))))
            listing.noteStored(number);
        m_pass.watch.told(CollectorProtocol::MailEnds());
    });
}

/// False, with a note, when this mail cannot be stored but others may be.
bool AccountDownload::store(const MailKey &key, QByteArray octets)
{
    try {
        const bool isPlain = m_pass.watch.known().plainMails.contains(key);
        storeMail(m_pass.connection,
                  {m_userName, key.accountKey, key.uid,
                   isPlain ? MimeMessage::readPlainly(std::move(octets)) : MimeMessage(std::move(octets)),
                   m_pass.attachHiddenText},
                  m_pass.kept, m_pass.trace);
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

void AccountDownload::deleteStored(const MailboxListing &listing)
{
    if (m_account.keepsCopies || listing.hasReusedIds())
        return;
    QList<int> deletable = listing.stored();
    deletable.removeIf([&](int number) { return m_pass.kept.contains(keyOf(number)); });
    const QList<int> refused = m_client->DeleteMessages(deletable);
    for (const int number : refused)
        note(u"服务器没有删除第%1封邮件"_s.arg(number));
}
