#include "modem/Inbox.h"

#include <algorithm>
#include <tuple>

namespace
{

bool comesBefore(const InboxMessage &a, const InboxMessage &b)
{
    return std::make_tuple(a.time, a.copies.first().memory, a.copies.first().index) <
           std::make_tuple(b.time, b.copies.first().memory, b.copies.first().index);
}

InboxMessage messageOf(const PartSet &set)
{
    InboxMessage message{set.parts.first().deliver.oa, set.text(), set.time(), {}, {}};
    for (const ReceivedPart &part : set.parts + set.duplicates)
        message.copies.append(part.copy);
    return message;
}

} // namespace

Inbox::Entry Inbox::makeEntry(const StoredTpdu &copy, const QDateTime &now) const
{
    Entry entry{copy, decodeReceived(copy.octets, copy.tpduOctets), now, State::Waiting, {}, false};
    if (std::holds_alternative<SmsStatusReport>(entry.tpdu))
        entry.state = State::Handled; // nobody asked for one: it only takes up its place
    return entry;
}

void Inbox::update(const QByteArray &memory, const QList<StoredTpdu> &received, const QDateTime &now)
{
    QHash<int, Entry> known;
    QList<Entry> entries;
    for (const Entry &entry : std::as_const(m_entries)) {
        if (entry.copy.isDirect || entry.copy.memory != memory)
            entries.append(entry);
        else
            known.insert(entry.copy.index, entry);
    }
    for (const StoredTpdu &copy : received) {
        const auto old = known.constFind(copy.index);
        entries.append(old != known.cend() && old->copy == copy ? *old : makeEntry(copy, now));
    }
    m_entries = entries;
    m_isArranged = false;
}

void Inbox::addDirect(const QByteArray &octets, int tpduOctets, const QDateTime &now)
{
    const auto directs =
        std::count_if(m_entries.cbegin(), m_entries.cend(), [](const Entry &e) { return e.copy.isDirect; });
    if (directs >= ModemBounds::directMessages)
        return;
    const Entry entry = makeEntry({{}, m_directCount++, octets, tpduOctets, true}, now);
    if (entry.state == State::Handled)
        return;
    m_entries.append(entry);
    m_isArranged = false;
}

bool Inbox::isReady(const PartSet &set, const QDateTime &now) const
{
    if (set.isComplete())
        return true;
    const bool isReleased = std::any_of(m_entries.cbegin(), m_entries.cend(), [&](const Entry &entry) {
        return entry.isReleased && entry.copy == set.parts.first().copy;
    });
    return isReleased || now >= std::max(set.newest().addSecs(m_limits.incompleteSet.count()),
                                         set.lastFirstSeen().addSecs(m_limits.incompleteGrace.count()));
}

/// The network delivers again what it believes unacknowledged: parts of a message that is already handled.
bool Inbox::isRepetition(const PartSet &set) const
{
    return !set.isComplete() &&
           std::all_of(set.parts.cbegin(), set.parts.cend(), [this](const ReceivedPart &part) {
               return m_handledParts.contains(part.copy.octets);
           });
}

void Inbox::arrange(const QDateTime &now)
{
    m_ready.clear();
    m_incomplete.clear();
    m_nextChange = {};
    m_isArranged = true;
    const auto changesAt = [this](const QDateTime &time) {
        if (!m_nextChange.isValid() || time < m_nextChange)
            m_nextChange = time;
    };
    QList<ReceivedPart> parts;
    for (const Entry &entry : std::as_const(m_entries)) {
        if (entry.state == State::Handled)
            continue;
        if (entry.state == State::Refused && now < entry.refusedUntil) {
            changesAt(entry.refusedUntil);
            continue;
        }
        if (const auto *deliver = std::get_if<SmsDeliver>(&entry.tpdu))
            parts.append({entry.copy, *deliver, entry.firstSeen});
        else if (const auto *unreadable = std::get_if<UnreadableTpdu>(&entry.tpdu))
            m_ready.append({{}, {}, entry.firstSeen, unreadable->problem, {entry.copy}});
    }
    for (const PartSet &set : reassemble(parts)) {
        if (!isReady(set, now)) {
            m_incomplete.append(set);
            changesAt(std::max(set.newest().addSecs(m_limits.incompleteSet.count()),
                               set.lastFirstSeen().addSecs(m_limits.incompleteGrace.count())));
        } else if (isRepetition(set)) {
            setHandled(messageOf(set));
        } else {
            m_ready.append(messageOf(set));
        }
    }
    std::stable_sort(m_ready.begin(), m_ready.end(), comesBefore);
}

std::optional<InboxMessage> Inbox::next(const QDateTime &now)
{
    if (!m_isArranged || (m_nextChange.isValid() && now >= m_nextChange))
        arrange(now);
    if (m_ready.isEmpty())
        return std::nullopt;
    return m_ready.first();
}

Inbox::Entry *Inbox::find(const StoredTpdu &copy)
{
    const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                    [&](const Entry &entry) { return entry.copy == copy; });
    return found == m_entries.end() ? nullptr : &*found;
}

void Inbox::setHandled(const InboxMessage &message)
{
    constexpr qsizetype rememberedParts = 4096;
    for (const StoredTpdu &copy : message.copies) {
        if (message.copies.size() > 1 && m_handledParts.size() < rememberedParts)
            m_handledParts.insert(copy.octets);
        if (Entry *entry = find(copy)) {
            entry->state = State::Handled;
            if (copy.isDirect)
                m_entries.removeAt(entry - m_entries.data());
        }
    }
    if (!m_ready.isEmpty() && m_ready.first().copies == message.copies)
        m_ready.removeFirst();
    else
        m_isArranged = false;
}

void Inbox::setRefused(const InboxMessage &message, const QDateTime &now)
{
    for (const StoredTpdu &copy : message.copies) {
        if (Entry *entry = find(copy)) {
            entry->state = State::Refused;
            entry->refusedUntil = now.addSecs(m_limits.refusedRetry.count());
        }
    }
    m_isArranged = false;
}

QList<StoredTpdu> Inbox::removable() const
{
    QList<StoredTpdu> copies;
    for (const Entry &entry : m_entries) {
        if (entry.state == State::Handled)
            copies.append(entry.copy);
    }
    return copies;
}

void Inbox::setRemoved(const StoredTpdu &copy)
{
    m_entries.removeIf([&](const Entry &entry) { return entry.copy == copy; });
}

bool Inbox::releaseOldestIncomplete(const QDateTime &now)
{
    if (!m_isArranged)
        arrange(now);
    if (m_incomplete.isEmpty())
        return false;
    const PartSet oldest = m_incomplete.first();
    for (const ReceivedPart &part : oldest.parts) {
        if (Entry *entry = find(part.copy))
            entry->isReleased = true;
    }
    m_isArranged = false;
    return true;
}

void Inbox::forgetUnhandled()
{
    m_entries.removeIf(
        [](const Entry &entry) { return entry.state != State::Handled && !entry.copy.isDirect; });
    m_isArranged = false;
}
