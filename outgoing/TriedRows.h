#pragma once

#include "modem/ModemFault.h"
#include "platform/clock/Clock.h"

#include <QHash>
#include <QSet>

/// The queue rows that were tried and wait again, and what they tell of the network. Refusals of several numbers with
/// no message accepted since are an outage: it restrains only the rows that were tried already, to one a minute, and
/// their tries do not count. A row whose try did not count is tried once a minute until another message is accepted.
class TriedRows
{
public:
    explicit TriedRows(const Clock &clock) : m_clock(clock) {}

    /// When the row was tried last, on the steady clock; nothing for one that was never tried.
    [[nodiscard]] std::optional<std::chrono::milliseconds> lastTry(qint64 id) const;
    /// False for a tried row that has to wait while the network takes nothing.
    [[nodiscard]] bool mayTry(qint64 id) const;
    /// The network accepted a message.
    void noteAccepted();
    /// The row has its result.
    void remove(qint64 id) { m_rows.remove(id); }
    /// The row got no answer or was not taken. True when it was its last try: three in all, which count only two
    /// minutes apart while nothing is accepted, and not at all in an outage.
    [[nodiscard]] bool noteTry(qint64 id, const QString &number, ModemFault::Kind kind);

private:
    struct Tries {
        int count = 0;
        std::chrono::milliseconds counted{0}; ///< the last that counted
        std::chrono::milliseconds last{0};
        qint64 acceptedBefore = 0; ///< messages of this run that were accepted before the first try
    };
    /// So many numbers are not taken that it is the network and not the numbers.
    [[nodiscard]] bool isOutage() const { return m_refused.size() >= 3; }

    const Clock &m_clock;
    QHash<qint64, Tries> m_rows; // by OAID
    qint64 m_accepted = 0;       // messages in this run
    QSet<QString> m_refused;     // numbers, since the last message was accepted
    std::chrono::milliseconds m_lastRefusal{0};
};
