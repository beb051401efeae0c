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

QByteArray placeKey(const QByteArray &memory, int index)
{
    return memory + '/' + QByteArray::number(index) + '/';
}

/// One message as it lies in its place. What came directly has no place, and can be stored besides.
QByteArray placeKey(const StoredTpdu &copy)
{
    return copy.isDirect ? copy.octets : placeKey(copy.memory, copy.index) + copy.octets;
}

bool isSameInAnotherMemory(const StoredTpdu &a, const StoredTpdu &b)
{
    return !a.isDirect && !b.isDirect && a.memory != b.memory && a.octets == b.octets;
}

} // namespace

Inbox::Entry Inbox::makeEntry(const StoredTpdu &copy, const QDateTime &now) const
{
    Entry entry{.copy = copy,
                .listed = copy,
                .tpdu = decodeReceived(copy.octets, copy.tpduOctets),
                .firstSeen = now,
                .readings = copy.isDirect ? Readings::Two : Readings::One};
    const bool isKnown = m_handled.contains(placeKey(copy)) || m_handled.contains(copy.octets);
    if (isKnown || std::holds_alternative<SmsStatusReport>(entry.tpdu))
        entry.state = State::Handled; // nobody asked for a report: it only takes up its place
    return entry;
}

void Inbox::update(const QByteArray &memory, const QList<StoredTpdu> &received, const QDateTime &now,
                   bool isOpening)
{
    QHash<int, Entry> known;
    QList<Entry> entries;
    QSet<QByteArray> stored;
    QSet<QByteArray> places;
    for (const StoredTpdu &copy : received) {
        stored.insert(copy.octets);
        places.insert(placeKey(copy));
    }
    for (const Entry &entry : std::as_const(m_entries)) {
        if (entry.copy.isDirect ? !stored.contains(entry.copy.octets) : entry.copy.memory != memory)
            entries.append(entry);
        else if (!entry.copy.isDirect)
            known.insert(entry.copy.index, entry);
    }
    for (const StoredTpdu &copy : received)
        entries.append(makeListed(copy, known, places, now, isOpening));
    m_entries = entries;
    m_isArranged = false;
}

/// What is known of a copy goes with it when it has moved to another place. places: all that are listed, with what they
/// hold.
Inbox::Entry Inbox::makeListed(const StoredTpdu &copy, QHash<int, Entry> &known,
                               const QSet<QByteArray> &places, const QDateTime &now, bool isOpening) const
{
    if (const auto old = known.constFind(copy.index); old != known.cend() && old->listed == copy) {
        Entry entry = *old;
        if (entry.readings == Readings::Disagree && !copy.octets.isEmpty())
            entry.readings = Readings::Two;
        return entry;
    }
    const auto moved = std::find_if(known.begin(), known.end(), [&](const Entry &entry) {
        return !copy.octets.isEmpty() && entry.copy.octets == copy.octets &&
               entry.copy.tpduOctets == copy.tpduOctets && !places.contains(placeKey(entry.listed));
    });
    if (moved == known.end()) {
        Entry entry = makeEntry(copy, now);
        entry.isLeftOver = isOpening;
        return entry;
    }
    Entry entry = *moved;
    known.erase(moved);
    entry.copy = entry.listed = copy;
    entry.readings = Readings::One;
    return entry;
}

void Inbox::noteAnnounced(const QByteArray &memory, int index)
{
    const bool isKnown = std::any_of(m_entries.cbegin(), m_entries.cend(), [&](const Entry &entry) {
        return entry.copy.memory == memory && entry.copy.index == index;
    });
    if (!isKnown)
        m_handled.removeOf(placeKey(memory, index));
}

bool Inbox::addAnnounced(const StoredTpdu &copy, const QDateTime &now)
{
    const bool isNew = std::none_of(m_entries.cbegin(), m_entries.cend(), [&](const Entry &entry) {
        return entry.copy.octets == copy.octets ||
               (entry.copy.memory == copy.memory && entry.copy.index == copy.index);
    });
    if (isNew) {
        m_entries.append(makeEntry(copy, now));
        m_isArranged = false;
    }
    return isNew;
}

Inbox::Direct Inbox::addDirect(const QByteArray &octets, int tpduOctets, const QDateTime &now)
{
    qsizetype directs = 0;
    for (const Entry &entry : std::as_const(m_entries)) {
        directs += entry.copy.isDirect ? 1 : 0;
        if (entry.copy.octets == octets)
            return entry.state == State::Handled ? Direct::Handled : Direct::Waiting;
    }
    if (directs >= ModemBounds::directMessages)
        return Direct::NoRoom;
    const Entry entry = makeEntry({{}, m_directCount++, octets, tpduOctets, true}, now);
    if (entry.state == State::Handled)
        return Direct::Handled;
    m_entries.append(entry);
    m_isArranged = false;
    return Direct::New;
}

InboxMessage Inbox::messageOf(const PartSet &set) const
{
    InboxMessage message{set.parts.first().deliver.oa, set.text(), set.time(), {}, {}};
    message.setKey = set.key();
    for (const ReceivedPart &part : set.parts + set.duplicates) {
        message.copies.append(part.copy);
        const Entry *entry = find(part.copy);
        message.isLeftOver = message.isLeftOver || (entry != nullptr && entry->isLeftOver);
    }
    for (const ReceivedPart &part : set.parts) {
        if (!message.setKey.isEmpty())
            message.sequences.insert(part.deliver.udh.concatenation->sequence);
        if (!set.isComplete())
            message.fragments.append(part.deliver.ud);
    }
    return message;
}

bool Inbox::isReady(const PartSet &set, const QDateTime &now) const
{
    if (m_delivered.completes(set, now))
        return true;
    const Entry *first = find(set.parts.first().copy);
    return (first != nullptr && first->isReleased) || now >= givenUpAt(set);
}

/// When an incomplete set is delivered as far as it came.
QDateTime Inbox::givenUpAt(const PartSet &set) const
{
    return std::max(set.newest().addSecs(m_limits.incompleteSet.count()),
                    set.lastFirstSeen().addSecs(m_limits.incompleteGrace.count()));
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
    QHash<QByteArray, StoredTpdu> seen;
    for (const Entry &entry : std::as_const(m_entries)) {
        if (entry.state == State::Handled || entry.readings == Readings::Disagree)
            continue;
        // One message that two memories show: it is handled with the first, and so is its other copy.
        const auto other = seen.constFind(entry.copy.octets);
        if (other != seen.cend() && isSameInAnotherMemory(*other, entry.copy))
            continue;
        seen.insert(entry.copy.octets, entry.copy);
        if (entry.state == State::Refused && now < entry.refusedUntil) {
            changesAt(entry.refusedUntil);
            continue;
        }
        if (const auto *deliver = std::get_if<SmsDeliver>(&entry.tpdu))
            parts.append({entry.copy, *deliver, entry.firstSeen});
        else if (const auto *unreadable = std::get_if<UnreadableTpdu>(&entry.tpdu)) {
            // Read again before anything is raised, it may come in its order.
            const bool isReadOnce = entry.readings == Readings::One;
            m_ready.append({{},
                            {},
                            isReadOnce ? QDateTime::fromSecsSinceEpoch(0) : entry.firstSeen,
                            unreadable->problem,
                            {entry.copy}});
        }
    }
    for (const PartSet &set : reassemble(parts)) {
        if (m_delivered.isRepetition(set)) {
            setHandled(messageOf(set), now);
        } else if (isReady(set, now)) {
            m_ready.append(messageOf(set));
        } else {
            m_incomplete.append(set);
            changesAt(givenUpAt(set));
        }
    }
    std::stable_sort(m_ready.begin(), m_ready.end(), comesBefore);
}

std::optional<InboxMessage> Inbox::next(const QDateTime &now)
{
    while (!m_isArranged || (m_nextChange.isValid() && now >= m_nextChange))
        arrange(now);
    if (m_ready.isEmpty())
        return std::nullopt;
    return m_ready.first();
}

bool Inbox::isReadTwice(const StoredTpdu &copy) const
{
    const Entry *entry = find(copy);
    return entry != nullptr && entry->readings == Readings::Two;
}

bool Inbox::setReadAgain(const StoredTpdu &copy, const std::optional<StoredTpdu> &found)
{
    Entry *entry = find(copy);
    if (entry == nullptr)
        return false;
    // The store has moved when another place held the same.
    const bool isAnothers =
        found && *found != copy && std::any_of(m_entries.cbegin(), m_entries.cend(), [&](const Entry &other) {
            return other.copy.memory == copy.memory && other.copy.index != copy.index &&
                   other.copy.octets == found->octets;
        });
    const std::optional<StoredTpdu> reading = isAnothers ? std::nullopt : found;
    if (reading && *reading != copy) {
        const Entry old = *entry;
        *entry = makeEntry(*reading, old.firstSeen);
        entry->listed = old.listed;
        entry->isLeftOver = old.isLeftOver;
    }
    entry->readings = reading ? Readings::Two : Readings::Disagree;
    m_isArranged = m_isArranged && reading == copy && !std::holds_alternative<UnreadableTpdu>(entry->tpdu);
    return reading.has_value();
}

const Inbox::Entry *Inbox::find(const StoredTpdu &copy) const
{
    const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                    [&](const Entry &entry) { return entry.copy == copy; });
    return found == m_entries.end() ? nullptr : &*found;
}

Inbox::Entry *Inbox::find(const StoredTpdu &copy)
{
    return const_cast<Entry *>(std::as_const(*this).find(copy));
}

void Inbox::setHandled(const InboxMessage &message, const QDateTime &now)
{
    m_delivered.note(message, now);
    for (const StoredTpdu &copy : message.copies) {
        m_handled.insert(placeKey(copy));
        for (Entry &entry : m_entries) {
            if (entry.copy == copy || isSameInAnotherMemory(entry.copy, copy)) {
                entry.state = State::Handled;
                m_handled.insert(placeKey(entry.copy));
            }
        }
    }
    m_entries.removeIf(
        [](const Entry &entry) { return entry.copy.isDirect && entry.state == State::Handled; });
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
            constexpr int mostDoublings = 20;
            const qint64 wait = m_limits.refusedFirst.count() << std::min(entry->refusals++, mostDoublings);
            entry->refusedUntil = now.addSecs(std::min<qint64>(wait, m_limits.refusedMost.count()));
        }
    }
    m_isArranged = false;
}

void Inbox::raiseRefused(const QDateTime &now)
{
    for (Entry &entry : m_entries) {
        if (entry.state != State::Refused || entry.refusedUntil <= now)
            continue;
        entry.refusedUntil = now;
        m_isArranged = false;
    }
}

QList<StoredTpdu> Inbox::removable() const
{
    QList<StoredTpdu> copies;
    for (const Entry &entry : m_entries) {
        if (entry.state == State::Handled)
            copies.append(entry.copy);
    }
    std::stable_sort(copies.begin(), copies.end(), [](const StoredTpdu &a, const StoredTpdu &b) {
        return std::tie(b.memory, b.index) < std::tie(a.memory, a.index);
    });
    return copies;
}

void Inbox::setRemoved(const StoredTpdu &copy)
{
    m_entries.removeIf([&](const Entry &entry) { return entry.copy == copy; });
}

QList<InboxMessage> Inbox::leftOverParts(const QDateTime &now)
{
    if (!m_isArranged)
        arrange(now);
    QList<InboxMessage> messages;
    for (const PartSet &set : std::as_const(m_incomplete)) {
        const InboxMessage message = messageOf(set);
        if (message.isLeftOver)
            messages.append(message);
    }
    return messages;
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

void Inbox::forgetStored()
{
    m_entries.removeIf([](const Entry &entry) { return !entry.copy.isDirect; });
    m_handled.clear();
    m_isArranged = false;
}
