#include "modem/Receiver.h"

#include "modem/ModemLink.h"
#include "modem/line/AnswerFields.h"
#include "modem/line/RestartAnnouncement.h"
#include "platform/files/Files.h"

#include <QPointer>
#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

QString hexOf(const InboxMessage &message)
{
    return QString::fromLatin1(message.copies.first().octets.toHex().toUpper());
}

} // namespace

Receiver::Receiver(const Clock &clock, ModemLink &link, const ModemLimits &limits, QObject *parent)
    : QObject(parent), m_clock(clock), m_link(link), m_limits(limits), m_inbox(limits)
{
    for (QTimer *timer : {&m_work, &m_poll, &m_retry, &m_change})
        timer->setSingleShot(true);
    m_work.setInterval(0);
    m_poll.setInterval(limits.storePoll);
    m_retry.setInterval(limits.waitRetry);
    for (const QTimer *timer : {&m_work, &m_retry, &m_change})
        connect(timer, &QTimer::timeout, this, &Receiver::work);
    connect(&m_poll, &QTimer::timeout, this, [this] {
        m_isStoreDue = true;
        work();
    });
    connect(&m_link.channel, &AtChannel::unsolicitedArrived, &m_work, qOverload<>(&QTimer::start));
}

void Receiver::start()
{
    static_cast<void>(takeNews()); // a restart that was announced before the bring-up is dealt with
    if (const QByteArray iccid = m_link.iccid(); !iccid.isEmpty()) {
        if (!m_iccid.isEmpty() && iccid != m_iccid) {
            m_inbox.forgetStored();
            emit notice(u"SIM 卡已更换，尾号 %1"_s.arg(QString::fromLatin1(iccid.right(4))));
        }
        m_iccid = iccid;
    }
    m_announced.clear();
    m_isStoreDue = true;
    m_isOpening = true;
    m_levels.clear();
    m_work.start();
}

void Receiver::pause()
{
    for (QTimer *timer : {&m_work, &m_poll, &m_retry, &m_change})
        timer->stop();
}

void Receiver::stop()
{
    pause();
    // In its handler a message may still be told handled: first that, then the rest is forgotten.
    m_mustForget = m_current.has_value();
    if (!m_mustForget)
        m_inbox.forgetUnhandled();
}

void Receiver::work()
{
    if (!m_link.isOpen() || m_current)
        return;
    if (takeNews()) {
        emit modemRestarted();
        return;
    }
    if (!m_isStoreDue)
        readAnnounced();
    if (m_isStoreDue) {
        if (!readStore())
            return;
        m_retry.stop(); // something may be new: what waits is tried with it
    }
    if (m_retry.isActive())
        return;
    const QPointer<Receiver> self(this);
    const bool hasMore = raiseNext();
    if (!self || !m_link.isOpen())
        return;
    if (hasMore)
        m_work.start();
    else
        armChange();
}

void Receiver::armChange()
{
    const QDateTime at = m_inbox.nextChange();
    if (!at.isValid())
        return;
    constexpr qint64 longest = 3600000;
    m_change.start(static_cast<int>(qBound<qint64>(0, time().msecsTo(at), longest)));
}

bool Receiver::takeNews()
{
    for (const AtLine &line : m_link.channel.takeUnsolicited())
        noteLine(line);
    return std::exchange(m_isRestarted, false);
}

void Receiver::noteLine(const AtLine &line)
{
    const QByteArray name = line.text.left(line.text.indexOf(':')).toUpper();
    if (name == "+CMTI" || name == "+CDSI") {
        noteAnnounced(line);
        m_work.start();
    } else if (name == "+CMT") {
        takeDirect(line);
    } else if (name == "+CDS") {
        m_link.acknowledge();
    } else if (announcesRestart(line.text)) {
        m_isRestarted = true;
        m_work.start();
    }
}

/// "+CMTI: <mem>,<index>". The notified memory can be another than the selected one; the index is only a hint.
void Receiver::noteAnnounced(const AtLine &line)
{
    const QList<AnswerField> fields = answerFields(line.text);
    const QByteArray memory = fields.first().text;
    const std::optional<int> index = fields.value(1).number();
    m_link.store.addMemory(memory);
    m_link.store.noteChange();
    if (index && m_link.store.memories().contains(memory)) {
        m_inbox.noteAnnounced(memory, *index);
        m_announced.append({memory, *index});
    } else {
        m_isStoreDue = true;
    }
}

/// Where the places do not hold what is new, the whole store is read.
void Receiver::readAnnounced()
{
    constexpr qsizetype most = 10; // a listing is quicker for more
    const auto places = std::exchange(m_announced, {});
    m_isStoreDue = places.size() > most;
    for (const auto &[memory, index] : places) {
        const std::optional<StoredTpdu> copy = m_isStoreDue ? std::nullopt : m_link.store.read(memory, index);
        if (!copy || !m_inbox.addAnnounced(*copy, time())) {
            m_isStoreDue = true;
            return;
        }
        m_retry.stop(); // what waits is tried with it
        m_levels.add(memory, 1);
        if (m_levels.isNearlyFull(memory))
            m_inbox.raiseRefused(time());
    }
}

/// "+CMT: [<alpha>],<length>" and the TPDU: there may be no stored copy.
void Receiver::takeDirect(const AtLine &line)
{
    const QList<AnswerField> fields = answerFields(line.text);
    if (fields.size() >
        2) { // "<oa>,[<alpha>],<scts>": text mode. It is not acknowledged, so that it comes again.
        m_isRestarted = true;
        m_work.start();
        return;
    }
    const StoredTpdu came{{}, 0, octetsOf(line.payload), fields.last().number().value_or(-1), true};
    // The network delivers again what is not acknowledged; what is then the same is as it was sent.
    const bool isDamaged = !came.fits() || line.payload.size() % 2 != 0;
    if (isDamaged && std::exchange(m_misfit, line.payload) != line.payload && m_link.wantsAcknowledge())
        return;
    // One that waits is acknowledged when it is dealt with.
    if (m_inbox.addDirect(came.octets, came.tpduOctets, time()) == Inbox::Direct::Handled)
        m_link.acknowledge();
    m_work.start();
}

/// False when the modem is gone or must be brought up again.
bool Receiver::readStore()
{
    m_isStoreDue = false;
    m_isDamaged = false;
    m_announced.clear();
    m_failedRemovals.clear();
    m_poll.start(m_limits.storePoll);
    // A modem that restarted silently is in text mode and tells nothing.
    if (!m_link.assertSettings()) {
        emit modemRestarted();
        return false;
    }
    for (const QByteArray &memory : m_link.store.memories()) {
        if (!readMemory(memory))
            return false;
    }
    m_link.store.selectFirst();
    for (const InboxMessage &parts : m_inbox.leftOverParts(time())) {
        if (m_isRest(parts))
            m_inbox.setHandled(parts, time());
    }
    m_isOpening = m_isDamaged;
    return removeHandled();
}

bool Receiver::readMemory(const QByteArray &memory)
{
    const std::optional<MessageStore::Listing> listing = m_link.store.list(memory);
    if (!listing)
        return isModemThere(); // the next reading may succeed
    if (listing->isTextMode) {
        // A modem that stays in text mode is not brought up over and over.
        if (m_sinceTextMode.isValid() && m_sinceTextMode.elapsed() < m_limits.storePoll.count())
            return true;
        m_sinceTextMode.start();
        emit modemRestarted();
        return false;
    }
    m_isDamaged = m_isDamaged || listing->isDamaged;
    m_inbox.update(memory, listing->received, time(), m_isOpening);
    m_levels.set({QString::fromLatin1(memory), listing->used, listing->total});
    // What is refused would deafen the modem: its handler is to take it elsewhere.
    if (m_levels.isNearlyFull(memory))
        m_inbox.raiseRefused(time());
    return true;
}

/// False when the modem is gone.
bool Receiver::readAgain(const StoredTpdu &copy)
{
    const std::optional<StoredTpdu> reading = m_link.store.readAgain(copy);
    if (m_inbox.setReadAgain(copy, reading))
        return true;
    if (!m_link.channel.isSynchronised())
        m_retry.start(); // each of the others might cost its time limit, too
    if (!isModemThere())
        return false;
    m_poll.start(m_limits.waitRetry);
    return true;
}

bool Receiver::isModemThere()
{
    if (m_link.answers())
        return true;
    emit modemLost();
    return false;
}

/// False when the modem is gone.
bool Receiver::removeHandled()
{
    const QList<StoredTpdu> copies = m_inbox.removable();
    return std::all_of(copies.cbegin(), copies.cend(), [this](const StoredTpdu &copy) {
        return m_failedRemovals.contains(copy) || remove(copy);
    });
}

/// False when the modem is gone.
bool Receiver::remove(const StoredTpdu &copy)
{
    m_isRestarted = takeNews(); // of a change, too
    if (m_isRestarted)
        return true;
    if (!m_inbox.isReadTwice(copy) && !readAgain(copy))
        return false;
    const MessageStore::Removal removal =
        m_inbox.isReadTwice(copy) ? m_link.store.remove(copy) : MessageStore::Removal::Failed;
    if (removal == MessageStore::Removal::Removed) {
        m_inbox.setRemoved(copy);
        m_levels.add(copy.memory, -1);
        return true;
    }
    if (removal == MessageStore::Removal::Moved)
        m_poll.start(m_limits.waitRetry);
    if (!isModemThere())
        return false;
    m_failedRemovals.append(copy); // again after the next reading of the store
    return true;
}

/// nullopt also when the modem is gone or slow.
std::optional<InboxMessage> Receiver::nextReadTwice()
{
    while (true) {
        std::optional<InboxMessage> message = m_inbox.next(time());
        if (!message)
            return std::nullopt;
        const auto once = std::find_if(message->copies.cbegin(), message->copies.cend(),
                                       [this](const StoredTpdu &copy) { return !m_inbox.isReadTwice(copy); });
        if (once == message->copies.cend())
            return message;
        if (!readAgain(*once) || m_retry.isActive())
            return std::nullopt;
    }
}

/// True when there may be more to raise at once.
bool Receiver::raiseNext()
{
    m_current = nextReadTwice();
    if (!m_link.isOpen())
        return false;
    if (!m_current) {
        if (removeHandled()) {
            tellLevels();
            // Nothing else is left that could be freed by handling it.
            for (int full = m_levels.full(); full > 0; --full)
                static_cast<void>(m_inbox.releaseOldestIncomplete(time()));
        }
        return m_inbox.next(time()).has_value();
    }
    const bool isUnreadable = !m_current->problem.isEmpty();
    const bool isTold = isUnreadable && m_unkept.contains(m_current->copies.first().octets);
    m_fate = MessageFate::Wait;
    m_wasRead = isTold;
    if (!isTold) {
        const QPointer<Receiver> self(this);
        emit messageReady(); // its handler may close the port or destroy the control
        if (!self)
            return false;
    }
    const InboxMessage message = *std::exchange(m_current, std::nullopt);
    if (isUnreadable && !isTold && m_wasRead)
        emit notice(u"收到无法识别的短信（%1），原始数据：%2"_s.arg(message.problem, hexOf(message)));
    // There is nothing to try again once its octets are kept.
    if (isUnreadable && m_wasRead)
        m_fate = keepUnreadable(message) ? MessageFate::Handled : MessageFate::Refused;
    finish(message);
    return !m_retry.isActive();
}

/// The octets of an unreadable message go into a file. False when it cannot be written, told once a message.
bool Receiver::keepUnreadable(const InboxMessage &message)
{
    if (m_unreadableFile.isEmpty())
        return true;
    const QString line = m_clock.now().toString(u"yyyy-MM-dd HH:mm:ss "_s) + hexOf(message) + u'\n';
    const FileError error = appendSynced(m_unreadableFile, line.toUtf8());
    const QByteArray &octets = message.copies.first().octets;
    if (!error.isError())
        m_unkept.remove(octets);
    else if (!m_unkept.contains(octets))
        emit notice(
            u"无法识别的短信不能写入文件 %1（%2），短信保留在短信猫中"_s.arg(m_unreadableFile, error.text()));
    if (error.isError())
        m_unkept.insert(octets);
    return !error.isError();
}

bool Receiver::mustLeave() const
{
    if (!m_current)
        return false;
    const StoredTpdu &copy = m_current->copies.first();
    return copy.isDirect || m_levels.isNearlyFull(copy.memory);
}

void Receiver::finish(const InboxMessage &message)
{
    if (m_fate == MessageFate::Handled) {
        m_inbox.setHandled(message, time());
        if (message.copies.first().isDirect && m_link.isOpen())
            m_link.acknowledge();
    } else if (m_fate == MessageFate::Refused) {
        m_inbox.setRefused(message, time());
    }
    if (std::exchange(m_mustForget, false))
        m_inbox.forgetUnhandled();
    if (!m_link.isOpen())
        return;
    if (m_fate == MessageFate::Wait)
        m_retry.start();
    // All that can be raised is raised before the first is removed.
    if ((m_fate == MessageFate::Wait || !m_inbox.next(time())) && removeHandled() &&
        m_fate == MessageFate::Wait)
        tellLevels();
}

void Receiver::askLevel()
{
    if (m_link.isOpen() && m_levels.memories().isEmpty())
        m_levels.set(m_link.store.level());
}

void Receiver::tellLevels()
{
    for (const QString &news : m_levels.takeNews())
        emit notice(news);
}
