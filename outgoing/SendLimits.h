#pragma once

#include "foundation/OperatorConsole.h"
#include "outgoing/SendLedger.h"

/// Holds one server's sending within what its carrier allows: so many SMS in any 60 minutes, in any 24 hours, and a
/// gap between two messages. Each is off while it is 0; without any there is no ledger and no cost.
class SendLimits
{
public:
    struct Values {
        qsizetype perHour = 0;
        qsizetype perDay = 0;
        std::chrono::seconds gap{0};
        bool operator==(const Values &) const = default;
    };

    /// ledgerFile: "" keeps no limits.
    SendLimits(const Clock &clock, OperatorConsole &console, QString ledgerFile)
        : m_clock(clock), m_console(console), m_ledgerFile(std::move(ledgerFile))
    {
    }

    /// From the next pass on.
    void set(const Values &values);
    /// A pass begins; the first one with limits reads the ledger. Throws Fault.
    void beginPass();
    /// Instead of a pass, for a look at what is held back: reads the ledger and writes nothing. Throws Fault.
    [[nodiscard]] SendLedger::Found look();

    /// True when more messages wait than may go now.
    [[nodiscard]] bool presses(qint64 waiting) const;
    /// What holds a message back.
    struct Hold {
        std::chrono::milliseconds until; ///< on the steady clock
        std::chrono::milliseconds
            window; ///< of the limit that is reached; 0 for the gap between two messages
        bool operator<(const Hold &other) const { return until < other.until; }
    };
    /// Of a message of so many SMS; nothing when it may go. One larger than a limit wants that window empty.
    [[nodiscard]] std::optional<Hold> hold(qsizetype parts) const;
    /// A message may not go: tells the operator until when, and how many wait, once for each rest (the gap is none).
    void rest(const Hold &hold, qint64 waiting);

    /// Before the hand-over of an SMS that may go. Throws Fault when it cannot be noted; it must not go then.
    void count();
    /// A pass has got through all that waited.
    void allSent() { m_rest.reset(); }

    /// How long until the gap is over that a pass ended for; nothing when it did not.
    [[nodiscard]] std::optional<std::chrono::milliseconds> gapLeft() const;

    /// Since when a limit holds messages back that wait, and until when at most; nothing when none does.
    struct Rest {
        QDateTime since;
        QDateTime until;
        QString limit; ///< as it is set: SendPerHour=100
    };
    /// Not of the gap.
    [[nodiscard]] Rest restOf(const Hold &hold) const;
    [[nodiscard]] const std::optional<Rest> &resting() const { return m_rest; }

private:
    [[nodiscard]] SendLedger newLedger() const;

    const Clock &m_clock;
    OperatorConsole &m_console;
    QString m_ledgerFile;
    Values m_values;
    std::optional<SendLedger> m_ledger;
    bool m_isHeld = false; // nothing has gone since it was told
    std::optional<std::chrono::milliseconds> m_toldAt;
    std::optional<Rest> m_rest;
};

/// The SMS that carry this text.
[[nodiscard]] qsizetype smsCount(const QString &text);
