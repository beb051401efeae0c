#include "pop3/Pop3Client.h"

#include "pop3/Pop3Connector.h"
#include "pop3/Pop3Listing.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace
{

/// A message whose size the server did not tell counts as this in the window.
constexpr qint64 usualMessageOctets = 64LL * 1024;

} // namespace

Pop3Client::Pop3Client(Pop3Options options)
    : m_options(std::move(options)),
      m_waiter(m_options.waiter ? m_options.waiter : std::make_shared<Pop3Waiter>())
{
}

Pop3Client::~Pop3Client() = default;

Pop3ConnectResult Pop3Client::Connect(const QString &login, const QString &password, const QString &server,
                                      int port, const Pop3LoginWays &ways)
{
    m_dialogue.reset();
    m_unread.clear();
    m_unreadOctets = 0;
    m_hasAskedAhead = false;
    m_count.reset();
    m_uids.clear();
    m_sizes.reset();

    const auto checked = checkedAccount(login, password, server, port, m_options.tlsPort);
    if (const auto *objection = std::get_if<QString>(&checked))
        return {Pop3ConnectOutcome::InvalidAccount, *objection};
    const auto &account = std::get<Pop3Account>(checked);
    m_observer = std::make_unique<Pop3Observer>(m_options.trace, account.password);
    Pop3Connector connector(account, ways, m_options, *m_observer, *m_waiter);
    Pop3ConnectResult result = connector.connect();
    m_dialogue = std::move(connector.dialogue());
    return result;
}

bool Pop3Client::isConnected() const
{
    return m_dialogue && m_dialogue->isOpen();
}

Pop3Dialogue &Pop3Client::dialogue()
{
    if (!isConnected())
        throw Pop3Fault(Pop3Fault::Kind::NotConnected, u"没有与邮件服务器的连接"_s);
    return *m_dialogue;
}

void Pop3Client::request(const QByteArray &command, qint64 expectedOctets, bool content)
{
    m_hasAskedAhead = m_hasAskedAhead || !m_unread.isEmpty();
    dialogue().send(command);
    m_unread.enqueue({expectedOctets, content});
    m_unreadOctets += expectedOctets;
}

Pop3Reply Pop3Client::nextReply()
{
    Q_ASSERT(!m_unread.isEmpty());
    m_unreadOctets -= m_unread.dequeue().octets;
    return dialogue().readReply();
}

bool Pop3Client::windowAdmits(qint64 expectedOctets) const
{
    const Pop3Limits &limits = m_options.limits;
    if (m_unread.isEmpty())
        return true;
    return m_options.pipelining && m_observer->capabilities().pipelining &&
           m_unread.size() < limits.windowCommands && m_unreadOctets + expectedOctets <= limits.windowOctets;
}

void Pop3Client::skipUnread()
{
    while (!m_unread.isEmpty()) {
        const bool content = m_unread.head().content;
        if (nextReply().ok && content)
            static_cast<void>(dialogue().readContent(m_options.limits.messageOctets));
    }
}

void Pop3Client::loadListing()
{
    if (m_count)
        return;
    skipUnread();
    const Pop3Limits &limits = m_options.limits;
    request("UIDL"_ba, 0, true);
    m_tellsUniqueIds = nextReply().ok;
    if (m_tellsUniqueIds) {
        if (const std::optional<QByteArray> content = dialogue().readContent(limits.listingOctets))
            m_uids = parseUidl(*content, limits.messages);
        m_observer->summarise(u"（%1个邮件标识）"_s.arg(m_uids.size()));
        m_count = static_cast<int>(m_uids.size());
        return;
    }
    request("STAT"_ba, 0, false);
    const int count = nextReply().text.split(' ').first().toInt(); // 0 for what is no number
    m_count = qBound(0, count, limits.messages);
}

const QList<qint64> &Pop3Client::sizes()
{
    if (m_sizes)
        return *m_sizes;
    skipUnread();
    m_sizes.emplace();
    request("LIST"_ba, 0, true);
    if (!nextReply().ok)
        return *m_sizes;
    if (const auto content = dialogue().readContent(m_options.limits.listingOctets))
        m_sizes = parseList(*content, m_options.limits.messages);
    m_observer->summarise(u"（%1个邮件大小）"_s.arg(m_sizes->size()));
    return *m_sizes;
}

qint64 Pop3Client::expectedOctets(int number) const
{
    const qint64 size = m_sizes ? m_sizes->value(number - 1, -1) : -1;
    return size < 0 ? usualMessageOctets : std::min(size, m_options.limits.messageOctets);
}

int Pop3Client::Count()
{
    loadListing();
    return *m_count;
}

bool Pop3Client::tellsUniqueIds()
{
    loadListing();
    return m_tellsUniqueIds;
}

std::optional<QString> Pop3Client::GetMessageUID(int number)
{
    loadListing();
    if (number < 1 || number > *m_count)
        return std::nullopt;
    const QString uid = m_uids.value(number - 1);
    return uid.isNull() ? std::nullopt : std::optional(uid);
}

Pop3Client::Retrieved Pop3Client::readMessage(int number)
{
    const Pop3Reply reply = nextReply();
    if (!reply.ok)
        return Pop3Refusal{m_observer->presentable(reply.text)};
    // "1234 octets" is what most servers say; the listing told the same.
    bool isNumber = false;
    const qint64 told = reply.text.split(' ').first().toLongLong(&isNumber);
    std::optional<QByteArray> octets = dialogue().readContent(
        m_options.limits.messageOctets,
        {isNumber ? told : m_sizes.value_or(QList<qint64>()).value(number - 1), !m_unread.isEmpty()});
    if (!octets) {
        m_observer->summarise(u"（邮件太大，已略过）"_s);
        return Pop3Refusal{u"邮件超过%1字节"_s.arg(m_options.limits.messageOctets)};
    }
    m_observer->summarise(u"（邮件内容%1字节）"_s.arg(octets->size()));
    return std::move(*octets);
}

void Pop3Client::retrieve(const QList<int> &numbers, const MessageHandler &handler)
{
    skipUnread();
    if (numbers.size() > 1 && m_observer && m_options.pipelining && m_observer->capabilities().pipelining)
        static_cast<void>(sizes());
    qsizetype asked = 0;
    for (const int number : numbers) {
        const bool isFirst = number == numbers.first();
        if (m_options.stopRequested() || (!isFirst && m_options.isEnough()))
            return; // what was asked for ahead is read away before the next command
        while (asked < numbers.size() && windowAdmits(expectedOctets(numbers[asked]))) {
            request("RETR " + QByteArray::number(numbers[asked]), expectedOctets(numbers[asked]), true);
            ++asked;
        }
        handler(number, readMessage(number));
    }
}

QList<int> Pop3Client::DeleteMessages(const QList<int> &numbers)
{
    skipUnread();
    QList<int> refused;
    qsizetype asked = 0;
    for (const int number : numbers) {
        while (asked < numbers.size() && windowAdmits(0))
            request("DELE " + QByteArray::number(numbers[asked++]), 0, false);
        if (!nextReply().ok)
            refused << number;
    }
    return refused;
}

bool Pop3Client::Disconnect() noexcept
{
    if (!isConnected())
        return false;
    bool confirmed = false;
    try {
        skipUnread();
        m_dialogue->limitSilence(m_options.limits.quit);
        request("QUIT"_ba, 0, false);
        confirmed = nextReply().ok;
    } catch (const Pop3Fault &) {
        confirmed = false; // the line broke first: what the server did not confirm is not done
    }
    m_dialogue.reset();
    m_unread.clear();
    return confirmed;
}
