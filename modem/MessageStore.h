#pragma once

#include "modem/ModemStatus.h"
#include "modem/StoredTpdu.h"
#include "modem/line/ModemLimits.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QElapsedTimer>
#include <QHash>
#include <QList>
#include <optional>

class AtChannel;
struct AtLine;

/// The memories in which the modem keeps received messages (3GPP TS 27.005, 3.2.2, 3.4.2, 3.4.3, 3.5.4).
class MessageStore
{
public:
    /// What a memory holds. Drafts and sent messages count as used but are never listed or removed.
    struct Listing {
        QList<StoredTpdu> received = {};
        int used = 0;
        int total = 0;           ///< 0 = not known
        bool isDamaged = false;  ///< a line could not be read: it may hold more
        bool isTextMode = false; ///< the modem has left PDU mode: nothing was read
    };
    enum class Removal {
        Removed,
        Moved,  ///< something else stands there: nothing was removed
        Failed, ///< try again later; the device may be gone
    };

    MessageStore(AtChannel &channel, const ModemLimits &limits) : m_channel(channel), m_limits(limits) {}

    /// Makes the SIM the memory for new messages where the modem allows it, and finds the memories that may
    /// hold some. False when the device is gone; a modem without the commands is used as it is.
    [[nodiscard]] bool initialise();
    /// All memories that are to be read at open, and until a notification names more.
    [[nodiscard]] QByteArrayList memories() const { return m_memories; }
    /// Memories that this modem's +CPMS takes at once: 3 by the standard.
    [[nodiscard]] int selectionSize() const { return m_selectionSize; }
    /// A notification named this memory; anything but letters is not believed.
    void addMemory(const QByteArray &memory);

    /// How full the selected memory is by the modem's own count, without reading it; its total is 0 where the modem
    /// does not tell.
    [[nodiscard]] ModemStatus::Memory level();
    /// nullopt when the memory could not be read now. What it shows of a message is one reading:
    /// see readAgain().
    [[nodiscard]] std::optional<Listing> list(const QByteArray &memory);
    /// What stands in the place of a listed copy, by two readings that agree, of which copy is one.
    /// nullopt when no two do. Lines that get lost can put one message's octets under another's index, of
    /// the right length.
    [[nodiscard]] std::optional<StoredTpdu> readAgain(const StoredTpdu &copy);
    /// Between the readings of the whole store the memory that receives stays selected.
    void selectFirst() { static_cast<void>(select(m_memories.first())); }
    /// What stands in a place that a notification named; nullopt when nothing that was received does.
    [[nodiscard]] std::optional<StoredTpdu> read(const QByteArray &memory, int index);
    /// Reads the place again before its +CMGD, unless that was the last thing done with the store, hardly a second ago.
    [[nodiscard]] Removal remove(const StoredTpdu &copy);
    /// The modem told of a change: what was read before proves nothing.
    void noteChange() { m_proof.reset(); }

private:
    bool select(const QByteArray &memory);
    [[nodiscard]] std::optional<StoredTpdu> readPlace(const QByteArray &memory, int index);
    [[nodiscard]] QByteArray selection(const QByteArray &memory) const;
    std::optional<QList<AtLine>> readOneByOne(const QByteArray &memory);
    [[nodiscard]] std::chrono::milliseconds listLimit(const QByteArray &memory) const;

    AtChannel &m_channel;
    ModemLimits m_limits;
    QByteArrayList m_memories;
    QByteArray m_selected;
    QByteArray m_receiving;            ///< where the modem writes and receives
    std::optional<StoredTpdu> m_proof; ///< the last reading of a place, while nothing can have moved
    QElapsedTimer m_sinceProof;
    quint64 m_proofAt = 0;   ///< the exchange that gave it
    int m_selectionSize = 3; ///< memories that this modem's +CPMS takes
    QHash<QByteArray, int> m_totals;
};
