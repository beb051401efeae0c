#pragma once

#include "modem/InboxMessage.h"
#include "modem/Reassembly.h"
#include "modem/RememberedKeys.h"

#include <QHash>

/// Which parts of concatenated messages were delivered, so that repetitions and rests of them are known.
class DeliveredParts
{
public:
    /// remembered: how long a set that was delivered in part is known by its reference.
    explicit DeliveredParts(std::chrono::seconds remembered) : m_remembered(remembered) {}

    void note(const InboxMessage &message, const QDateTime &now);
    /// Nothing of the set is missing, or what is was delivered before.
    [[nodiscard]] bool completes(const PartSet &set, const QDateTime &now) const;
    /// The network delivers again what it believes unacknowledged: parts of a message that is already handled.
    [[nodiscard]] bool isRepetition(const PartSet &set) const;

private:
    /// A set of which parts were delivered before the others came.
    struct Partly {
        QSet<int> sequences;
        QDateTime when;
    };

    std::chrono::seconds m_remembered;
    RememberedKeys m_octets;
    QHash<QString, Partly> m_partly; ///< by PartSet::key()
};
