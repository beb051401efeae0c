#pragma once

#include "modem/DeliveredParts.h"
#include "modem/line/ModemLimits.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>
#include <optional>

/// What was received and is not yet dealt with. The modem's store is the truth: every reading of it replaces
/// what is known of that memory, and only what became of a message is carried over. Speaks to no modem.
///
/// All that waits is put into sets and in order anew whenever something changed. Rejected: to keep sets and order
/// up to date entry by entry. A notification is a hint, a listing loses lines and a second reading corrects octets,
/// so each of these would have to take back what it did; and there is nothing to gain, since 255 entries are
/// arranged in 3.4 ms (without optimisation), where a line of 115200 baud takes 8 s to list them.
class Inbox
{
public:
    enum class Direct {
        New,
        Waiting, ///< it is known already and not yet handled
        Handled, ///< it was handled: the network delivers it again
        NoRoom,
    };

    explicit Inbox(const ModemLimits &limits) : m_limits(limits), m_delivered(limits.rememberParts) {}

    void setRefusedFirst(std::chrono::seconds wait) { m_limits.refusedFirst = wait; }
    /// Everything received that memory holds now. isOpening: what is new in it may be known to an
    /// earlier run.
    void update(const QByteArray &memory, const QList<StoredTpdu> &received, const QDateTime &now,
                bool isOpening = false);
    /// A notification named this place: what is new there is no repetition of what was removed from it.
    void noteAnnounced(const QByteArray &memory, int index);
    /// The first reading of such a place. False when that is not all that is new: the store is to be read.
    [[nodiscard]] bool addAnnounced(const StoredTpdu &copy, const QDateTime &now);
    /// A message that the modem delivered without storing it. One that lies in the store as well comes once.
    Direct addDirect(const QByteArray &octets, int tpduOctets, const QDateTime &now);

    /// The first message in order that may be raised now; the same one until its fate is told. Its copies
    /// must have been read twice.
    [[nodiscard]] std::optional<InboxMessage> next(const QDateTime &now);
    /// Only what two readings agree about is raised or removed.
    [[nodiscard]] bool isReadTwice(const StoredTpdu &copy) const;
    /// What the second reading of copy's place gave. Other octets take the place of those that the listing
    /// showed; without a reading (nullopt), or when they are another place's, the copy waits until a listing shows
    /// the same again, and this is false.
    bool setReadAgain(const StoredTpdu &copy, const std::optional<StoredTpdu> &reading);
    /// When time alone makes something ready; invalid when nothing waits for it.
    [[nodiscard]] QDateTime nextChange() const { return m_nextChange; }
    void setHandled(const InboxMessage &message, const QDateTime &now);
    void setRefused(const InboxMessage &message, const QDateTime &now);
    /// Refused messages may be raised at once.
    void raiseRefused(const QDateTime &now);
    /// Stored copies that may go: handled, superseded, status reports; the highest place of a memory first, for stores
    /// in which others then move up. Each stays listed until setRemoved().
    [[nodiscard]] QList<StoredTpdu> removable() const;
    /// The modem said that it removed it. A modem that did not shows it again: it is then known as handled.
    void setRemoved(const StoredTpdu &copy);

    /// Incomplete sets that lay in the store when the port was opened, as far as they came.
    [[nodiscard]] QList<InboxMessage> leftOverParts(const QDateTime &now);
    /// The oldest incomplete set becomes ready as far as it came. False when there is none.
    [[nodiscard]] bool releaseOldestIncomplete(const QDateTime &now);
    /// Forgets what is not handled yet. What was handled and still lies in the store is remembered, so that
    /// it is not handled again.
    void forgetUnhandled();
    /// Forgets everything that was stored: another SIM card has other messages in the same places.
    void forgetStored();

private:
    enum class State { Waiting, Handled, Refused };
    enum class Readings { One, Two, Disagree };
    struct Entry {
        StoredTpdu copy;
        StoredTpdu listed = {}; ///< as the listing shows it; copy is what the place holds
        ReceivedTpdu tpdu;
        QDateTime firstSeen;
        Readings readings = Readings::One;
        State state = State::Waiting;
        QDateTime refusedUntil = {};
        int refusals = 0;
        bool isReleased = false; ///< its incomplete set was released
        bool isLeftOver = false;
    };
    Entry makeEntry(const StoredTpdu &copy, const QDateTime &now) const;
    Entry makeListed(const StoredTpdu &copy, QHash<int, Entry> &known, const QSet<QByteArray> &places,
                     const QDateTime &now, bool isOpening) const;
    void arrange(const QDateTime &now);
    InboxMessage messageOf(const PartSet &set) const;
    [[nodiscard]] bool isReady(const PartSet &set, const QDateTime &now) const;
    [[nodiscard]] QDateTime givenUpAt(const PartSet &set) const;
    const Entry *find(const StoredTpdu &copy) const;
    Entry *find(const StoredTpdu &copy);

    ModemLimits m_limits;
    QList<Entry> m_entries;
    QList<InboxMessage> m_ready;
    QList<PartSet> m_incomplete;
    RememberedKeys m_handled; ///< by place and octets
    DeliveredParts m_delivered;
    bool m_isArranged = true;
    QDateTime m_nextChange;
    int m_directCount = 0;
};
