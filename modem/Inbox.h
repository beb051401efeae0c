#pragma once

#include "modem/ModemLimits.h"
#include "modem/Reassembly.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <optional>

/// A message that is ready for its handler.
struct InboxMessage {
    SmsAddress sender;
    QString text;
    QDateTime time;  ///< local time
    QString problem; ///< not "" when the TPDU cannot be decoded; then the three above mean nothing
    QList<StoredTpdu> copies;
};

/// What was received and is not yet dealt with. The modem's store is the truth: every reading of it replaces
/// what is known of that memory, and only what became of a message is carried over. Speaks to no modem.
class Inbox
{
public:
    explicit Inbox(const ModemLimits &limits) : m_limits(limits) {}

    /// Everything received that memory holds now.
    void update(const QByteArray &memory, const QList<StoredTpdu> &received, const QDateTime &now);
    /// A message that the modem delivered without storing it. Status reports are passed over.
    void addDirect(const QByteArray &octets, int tpduOctets, const QDateTime &now);

    /// The first message in order that may be raised now; the same one until its fate is told.
    [[nodiscard]] std::optional<InboxMessage> next(const QDateTime &now);
    void setHandled(const InboxMessage &message);
    void setRefused(const InboxMessage &message, const QDateTime &now);
    /// Stored copies that may go: handled, superseded, status reports. Each stays listed until setRemoved().
    [[nodiscard]] QList<StoredTpdu> removable() const;
    void setRemoved(const StoredTpdu &copy);

    /// The oldest incomplete set becomes ready as far as it came. False when there is none.
    [[nodiscard]] bool releaseOldestIncomplete(const QDateTime &now);
    /// Forgets what is not handled yet. What was handled and still lies in the store is remembered, so that
    /// it is not handled again.
    void forgetUnhandled();

private:
    enum class State { Waiting, Handled, Refused };
    struct Entry {
        StoredTpdu copy;
        ReceivedTpdu tpdu;
        QDateTime firstSeen;
        State state = State::Waiting;
        QDateTime refusedUntil;
        bool isReleased = false; ///< its incomplete set was released
    };

    Entry makeEntry(const StoredTpdu &copy, const QDateTime &now) const;
    void arrange(const QDateTime &now);
    [[nodiscard]] bool isReady(const PartSet &set, const QDateTime &now) const;
    [[nodiscard]] bool isRepetition(const PartSet &set) const;
    Entry *find(const StoredTpdu &copy);

    ModemLimits m_limits;
    QList<Entry> m_entries;
    QList<InboxMessage> m_ready;
    QList<PartSet> m_incomplete;
    QSet<QByteArray>
        m_handledParts; ///< TPDUs of concatenated messages that were handled, to know repetitions
    bool m_isArranged = true;
    QDateTime m_nextChange; ///< when time alone makes something ready
    int m_directCount = 0;
};
