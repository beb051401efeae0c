#include "modem/DeliveredParts.h"

#include <algorithm>

void DeliveredParts::note(const InboxMessage &message, const QDateTime &now)
{
    if (message.setKey.isEmpty())
        return;
    for (const StoredTpdu &copy : message.copies)
        m_octets.insert(copy.octets);
    m_partly.removeIf(
        [&](const auto &partly) { return partly.value().when.addSecs(m_remembered.count()) < now; });
    if (message.fragments.isEmpty()) {
        m_partly.remove(message.setKey);
        return;
    }
    Partly &partly = m_partly[message.setKey];
    partly.sequences += message.sequences;
    partly.when = now;
}

bool DeliveredParts::completes(const PartSet &set, const QDateTime &now) const
{
    if (set.isComplete())
        return true;
    const auto partly = m_partly.constFind(set.key());
    if (partly == m_partly.cend() || partly->when.addSecs(m_remembered.count()) < now)
        return false;
    QSet<int> sequences = partly->sequences;
    for (const ReceivedPart &part : set.parts)
        sequences.insert(part.deliver.udh.concatenation->sequence);
    return sequences.size() == set.total;
}

bool DeliveredParts::isRepetition(const PartSet &set) const
{
    return !set.isComplete() &&
           std::all_of(set.parts.cbegin(), set.parts.cend(),
                       [this](const ReceivedPart &part) { return m_octets.contains(part.copy.octets); });
}
