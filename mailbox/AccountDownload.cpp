#include "mailbox/AccountDownload.h"

#include "mailbox/MailboxListing.h"
#include "mailbox/StoreMail.h"

#include <QCryptographicHash>
#include <QScopeGuard>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using std::chrono::milliseconds;

namespace
{

/// In one turn: what is left comes at the next pass.
constexpr int mostSessions = 6;
/// A mail of so many octets may take long, and all of the memory: it comes after the others, and not many at once.
constexpr qint64 large = 8LL << 20;
constexpr qint64 largeTogether = 512LL << 20;
constexpr milliseconds untilRoom = 200ms;

QByteArray digest(const QList<qint64> &sizes)
{
    const QByteArrayView octets(reinterpret_cast<const char *>(sizes.data()),
                                sizes.size() * qsizetype(sizeof(qint64)));
    return QCryptographicHash::hash(octets.toByteArray(), QCryptographicHash::Sha1).toHex();
}

} // namespace

AccountDownload::AccountDownload(QString userName, MailAccount account, CollectionPass &pass)
    : m_userName(std::move(userName)), m_account(std::move(account)), m_pass(pass)
{
    m_sinceProgress.start();
}

QString AccountDownload::server() const
{
    return m_account.POPIP.trimmed().toLower() + u':' + QString::number(m_account.PopPort);
}

bool AccountDownload::hungBefore() const
{
    return m_account.OAID && history().hangs > 0;
}

QString AccountDownload::shownName() const
{
    return u"用户 %1 的邮箱 %2 @ %3"_s.arg(m_userName, m_account.EUsername, m_account.POPIP);
}

void AccountDownload::note(const QString &text)
{
    if (m_cause.isEmpty())
        m_cause = text;
    m_pass.trace.note(shownName() + u"："_s + text);
}

AccountHistory AccountDownload::history() const
{
    return validHistory(m_pass.watch.known().histories.value(*m_account.OAID), m_account);
}

bool AccountDownload::isAdmitted()
{
    if (m_account.OAID)
        return !m_pass.watch.known().passedOverAccounts.contains(*m_account.OAID);
    note(u"SA_email.OAID 不是整数"_s);
    return false;
}

/// Some servers serve one session at a time, or few of one address.
bool AccountDownload::isInVain(const Pop3ConnectResult &result) const
{
    using enum Pop3ConnectOutcome;
    return m_pass.sessions[server()] > 1 && m_pass.answeringServers.contains(server()) &&
           (result.outcome == HostUnreachable || result.outcome == TimedOut || result.outcome == LineLost);
}

void AccountDownload::noteAnswer(const Pop3ConnectResult &result)
{
    using enum Pop3ConnectOutcome;
    learn(afterLogin(history(), result, SystemClock().steady()));
    if (result.outcome == HostUnreachable) {
        if (!m_pass.answeringServers.contains(server()))
            m_pass.silentServers.insert(server());
    } else if (result.outcome != InvalidAccount && result.outcome != Stopped)
        m_pass.answeringServers.insert(server());
}

bool AccountDownload::connect()
{
    if (m_pass.silentServers.contains(server())) {
        note(u"邮件服务器没有应答"_s);
        return false;
    }
    const AccountHistory known = history();
    if (!mayLogIn(known, SystemClock().steady())) {
        m_pass.trace.note(shownName() + u"：上次登录之后时间太短，稍后再试"_s);
        return false;
    }
    Pop3Options options = m_pass.pop3;
    m_isOneByOne = m_isOneByOne || known.isOneByOne || !options.pipelining;
    options.pipelining = !m_isOneByOne;
    options.isEnough = [this] { return sinceBegin() >= m_pass.accountBudget; };
    options.stopRequested = [this] { return m_pass.isEnding(); };
    if (options.trace && (m_pass.sessions.size() > 1 ||
                          m_pass.sessions[server()] > 1)) { // its lines come between those of others
        options.trace = [show = options.trace, who = u"[%1] "_s.arg(mailbox())](
                            Pop3Direction direction, const QString &line) { show(direction, who + line); };
    }
    m_client.emplace(options);
    const Pop3ConnectResult result = m_client->Connect(m_account.EUsername, m_account.EPassword,
                                                       m_account.POPIP, m_account.PopPort, known.ways);
    m_wantsServerAlone = isInVain(result);
    if (m_wantsServerAlone)
        return false;
    noteAnswer(result);
    if (!result.connected())
        note(result.text);
    return result.connected();
}

void AccountDownload::run()
{
    m_sinceBegin.start();
    m_sinceProgress.start();
    m_wantsServerAlone = false;
    ++m_pass.sessions[server()];
    if (isAdmitted()) {
        m_pass.watch.told(CollectorProtocol::AccountBegins{*m_account.OAID, shownName()});
        for (int session = 0; session < mostSessions && runSession() == End::Again; ++session)
            m_sinceProgress.start();
        if ((m_isEmptied || !m_cause.isEmpty()) && !m_pass.isEnding())
            m_pass.watch.told(CollectorProtocol::AccountEnds{*m_account.OAID, shownName(), m_cause});
    }
    if (--m_pass.sessions[server()] == 0)
        m_pass.sessions.remove(server());
    m_isOver = true;
}

void AccountDownload::goOneByOne()
{
    m_isOneByOne = true;
    AccountHistory known = history();
    known.isOneByOne = true;
    learn(known);
    note(u"改为逐条收取"_s);
}

AccountDownload::End AccountDownload::runSession()
{
    m_reading.reset();
    m_cause.clear();
    try {
        const End end = download();
        m_client.reset();
        return end;
    } catch (const DatabaseFault &fault) {
        m_pass.noteFault(fault);
    } catch (const Pop3Fault &fault) {
        note(fault.message());
        return afterFault(fault);
    } catch (const std::exception &error) { // memory is short, or the state file cannot be written
        note(QString::fromUtf8(error.what()));
        if (m_reading)
            noteBreak(*m_reading);
    }
    m_client.reset();
    return End::Done;
}

AccountDownload::End AccountDownload::afterFault(const Pop3Fault &fault)
{
    const bool hadAskedAhead = m_client->hasAskedAhead();
    m_client.reset();
    const bool hung = fault.kind() == Pop3Fault::Kind::TimedOut;
    if (fault.kind() == Pop3Fault::Kind::Stopped)
        return End::Done;
    // Some servers offer pipelining and drop what comes early, or end a message in a doubtful way.
    if (!m_isOneByOne && (fault.kind() == Pop3Fault::Kind::OutOfStep || (hung && hadAskedAhead))) {
        goOneByOne();
        return End::Again;
    }
    if (m_reading) {
        noteBreak(*m_reading);
        return End::Again;
    }
    if (hung)
        learn(afterHang(history(), SystemClock().steady()));
    return End::Done;
}

void AccountDownload::noteBreak(const MailKey &key)
{
    BrokenMail broken = m_pass.watch.known().brokenMails.value(key);
    ++broken.breaks;
    broken.restsUntil = broken.breaks > 1 ? SystemClock().steady() + 1h : 0ms;
    m_pass.watch.learn(key, broken);
}

AccountDownload::End AccountDownload::download()
{
    if (!connect())
        return End::Done;
    MailboxListing listing(*m_client, m_pass.connection, *m_account.OAID);
    m_sinceProgress.start();
    noteListing(listing);
    m_areIdsNumbers = listing.hasNumbersForIds();
    m_pass.wholeMails[*m_account.OAID].intersect(m_areIdsNumbers ? QSet<QString>() : listing.storedIds());
    // A mailbox that is emptied shows unknown ids all the time.
    const bool isUnknown =
        m_account.keepsCopies && listing.stored().isEmpty() && !listing.unstored().isEmpty();
    const QByteArray sizes = isUnknown ? digest(m_client->sizes()) : QByteArray();
    const Plan plan = planned(listing);
    storeNewMessages(listing, plan);
    noteIds(listing, sizes);
    // After a stop the line is dropped: a server may take long over a farewell.
    if (m_pass.isEnding())
        return End::Done;
    deleteStored(listing);
    if (!m_client->Disconnect())
        note(u"服务器没有确认结束会话"_s);
    m_isAtEnd = plan.hasMore;
    m_isEmptied = !plan.hasMore;
    return plan.hasMore ? End::Again : End::Done;
}

void AccountDownload::noteListing(const MailboxListing &listing)
{
    if (!m_client->tellsUniqueIds() && m_client->Count() > 0)
        note(u"服务器不提供邮件标识（UIDL），邮件不会收取"_s);
    if (listing.hasReusedIds())
        note(u"服务器给不同的邮件同一个标识，本次不删除任何邮件"_s);
    AccountHistory known = history();
    known.hangs = 0;
    learn(known);
}

/// sizes: those of a listing in which no id was known, else empty.
void AccountDownload::noteIds(const MailboxListing &listing, const QByteArray &sizes)
{
    const bool counts = !sizes.isEmpty() && !listing.stored().isEmpty();
    AccountHistory known = history();
    const QByteArray sizesBefore = std::exchange(known.unknownSizes, counts ? sizes : QByteArray());
    const QByteArray idsBefore = std::exchange(known.unknownIds, counts ? listing.digest() : QByteArray());
    known.areIdsChanging = counts && known.unknownSizes == sizesBefore && known.unknownIds != idsBefore;
    if (known.areIdsChanging)
        note(u"服务器每次都更换邮件标识，同样的邮件会重复保存"_s);
    learn(known);
}

/// What is to come behind a QUIT is what broke a session before, or at the end is nothing.
AccountDownload::Plan AccountDownload::planned(const MailboxListing &listing)
{
    const CollectorState &known = m_pass.watch.known();
    const milliseconds now = SystemClock().steady();
    QList<int> inDoubt = deletable(listing);
    inDoubt.removeIf([this](int number) { return !isInDoubt(number); });
    const QList<int> wanted = listing.unstored() + inDoubt;
    const QList<qint64> sizes = wanted.isEmpty() ? QList<qint64>() : m_client->sizes();
    Plan plan;
    QList<int> broken;
    for (const int number : wanted) {
        const MailKey key = keyOf(number);
        const auto before = known.brokenMails.constFind(key);
        if (known.passedOverMails.contains(key))
            note(u"邮件 %1 留在服务器上"_s.arg(key.uid));
        else if (sizes.value(number - 1) > m_pass.pop3.limits.messageOctets)
            note(u"邮件 %1 太大（%2 字节），不收取"_s.arg(key.uid).arg(sizes[number - 1]));
        else if (before == known.brokenMails.cend())
            (sizes.value(number - 1) >= large ? plan.oneByOne : plan.together) += number;
        else if (before->restsUntil <= now)
            broken += number;
        else
            note(u"邮件 %1 两次使收取中断，一小时后再试"_s.arg(key.uid));
    }
    const bool isNothingElse = plan.together.isEmpty() && plan.oneByOne.isEmpty() &&
                               (m_account.keepsCopies || listing.stored().isEmpty());
    plan.hasMore = !broken.isEmpty() && !m_isAtEnd && !isNothingElse;
    if (!plan.hasMore)
        plan.oneByOne += broken;
    return plan;
}

void AccountDownload::storeNewMessages(MailboxListing &listing, const Plan &plan)
{
    retrieve(listing, plan.together);
    for (const int number : plan.oneByOne) {
        const bool isFirst = plan.together.isEmpty() && number == plan.oneByOne.first();
        if (!isFirst && sinceBegin() >= m_pass.accountBudget)
            return;
        const qint64 octets = m_client->sizes().value(number - 1);
        while (m_pass.largeOctets > 0 && m_pass.largeOctets + octets > largeTogether && !m_pass.isEnding())
            m_pass.pop3.waiter->wait(nullptr, untilRoom);
        m_pass.largeOctets += octets;
        const auto room = qScopeGuard([&] { m_pass.largeOctets -= octets; });
        retrieve(listing, {number});
    }
}

void AccountDownload::retrieve(MailboxListing &listing, const QList<int> &numbers)
{
    if (numbers.isEmpty())
        return;
    m_reading = keyOf(numbers.first());
    auto next = numbers.cbegin();
    m_client->retrieve(numbers, [&](int number, Pop3Client::Retrieved message) {
        m_reading.reset();
        takeMessage(listing, number, std::move(message));
        m_sinceProgress.start();
        m_pass.pop3.waiter->wait(nullptr, 0ms); // the others' turn
        if (++next != numbers.cend())
            m_reading = keyOf(*next);
    });
    m_reading.reset();
}

void AccountDownload::takeMessage(MailboxListing &listing, int number, Pop3Client::Retrieved message)
{
    if (const auto *refusal = std::get_if<Pop3Refusal>(&message)) {
        note(u"第%1封邮件取不到：%2"_s.arg(number).arg(refusal->text));
        return;
    }
    const MailKey key = keyOf(number);
    m_pass.watch.told(CollectorProtocol::MailBegins{key, shownName()});
    const Taken taken = store(key, listing.isStored(number), std::get<QByteArray>(std::move(message)));
    if (taken != Taken::Not) {
        listing.noteStored(number);
        if (m_pass.watch.known().brokenMails.contains(key))
            m_pass.watch.learn(key, BrokenMail());
    }
    m_pass.watch.told(CollectorProtocol::MailEnds{taken == Taken::Stored});
}

AccountDownload::Taken AccountDownload::store(const MailKey &key, bool isStored, QByteArray octets)
{
    const bool isLarge = octets.size() >= large;
    const QString failure = isStored ? u"未能核对"_s : u"未能保存"_s;
    try {
        const bool isPlain = m_pass.watch.known().plainMails.contains(key);
        CollectedMail mail{m_userName, key.accountKey, key.uid,
                           isPlain ? MimeMessage::readPlainly(std::move(octets))
                                   : MimeMessage(std::move(octets)),
                           m_pass.attachHiddenText};
        const Stored before = isStored ? whatIsStored(m_pass.connection, mail) : Stored::Other;
        const bool isNew = !isStored || (before == Stored::Other && m_areIdsNumbers);
        if (isNew)
            storeMail(m_pass.connection, std::move(mail), m_pass.kept, m_pass.trace);
        else if (before != Stored::Whole) {
            m_pass.kept.add(key);
            note(u"邮件 %1 与数据库中保存的不一致，留在服务器上"_s.arg(key.uid));
        }
        if (!m_account.keepsCopies)
            m_pass.wholeMails[key.accountKey].insert(key.uid); // or kept
        return isNew ? Taken::Stored : Taken::Compared;
    } catch (const DatabaseFault &fault) {
        // A disk that is too full for this one may have room for others.
        const bool isTooLarge =
            isLarge && fault.kind() == DatabaseFault::Kind::Unavailable && m_pass.connection.isOpen();
        if (!isTooLarge && !fault.concernsOneRow())
            throw;
        if (isTooLarge || isStored)
            noteBreak(key);
        note(u"邮件 %1 %2：%3"_s.arg(key.uid, failure, fault.message()));
    } catch (const std::bad_alloc &) {
        note(u"邮件 %1 %2：内存不足"_s.arg(key.uid, failure));
    }
    return Taken::Not;
}

/// What is stored, as far as this server knows, and need not stay.
QList<int> AccountDownload::deletable(const MailboxListing &listing)
{
    if (m_account.keepsCopies || listing.hasReusedIds())
        return {};
    QList<int> numbers = listing.stored();
    numbers.removeIf([&](int number) { return m_pass.kept.contains(keyOf(number)); });
    return numbers;
}

/// Another server, which remembers for itself what it could not store, may have stored it; or what is stored is another
/// mail, which had the number before.
bool AccountDownload::isInDoubt(int number)
{
    const MailKey key = keyOf(number);
    return (m_pass.watch.known().areServersSeveral || m_areIdsNumbers) &&
           !m_pass.wholeMails[key.accountKey].contains(key.uid);
}

void AccountDownload::deleteStored(const MailboxListing &listing)
{
    QList<int> numbers = deletable(listing);
    numbers.removeIf([this](int number) { return isInDoubt(number); });
    for (const int number : m_client->DeleteMessages(listing.withoutRenumbering(numbers)))
        note(u"服务器没有删除第%1封邮件"_s.arg(number));
}
