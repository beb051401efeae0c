#pragma once

#include "modem/StoredTpdu.h"
#include "modem/line/ModemLimits.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QHash>
#include <QList>
#include <optional>

class AtChannel;
struct AtAnswer;

/// The memories in which the modem keeps received messages (3GPP TS 27.005, 3.2.2, 3.4.2, 3.4.3, 3.5.4).
class MessageStore
{
public:
    /// What a memory holds. Drafts and sent messages count as used but are never listed or removed.
    struct Listing {
        QList<StoredTpdu> received = {};
        int used = 0;
        int total = 0;           ///< 0 = not known
        bool isTextMode = false; ///< the modem has left PDU mode: nothing was read
    };
    enum class Removal {
        Removed,
        Failed, ///< try again later
        Lost,   ///< the device is gone
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

    /// nullopt when the memory could not be read now. What it shows of a message is one reading:
    /// see readAgain().
    [[nodiscard]] std::optional<Listing> list(const QByteArray &memory);
    /// What stands in the place of a listed copy, by two readings that agree, of which copy is one.
    /// nullopt when no two do. Lines that get lost can put one message's octets under another's index, of
    /// the right length.
    [[nodiscard]] std::optional<StoredTpdu> readAgain(const StoredTpdu &copy);
    [[nodiscard]] Removal remove(const StoredTpdu &copy);

private:
    bool select(const QByteArray &memory);
    [[nodiscard]] std::optional<StoredTpdu> readPlace(const QByteArray &memory, int index);
    [[nodiscard]] QByteArray selection(const QByteArray &memory) const;
    void noteSizes(const AtAnswer &answer, const QByteArrayList &memories);
    std::optional<Listing> listOneByOne(const QByteArray &memory);
    [[nodiscard]] std::chrono::milliseconds listLimit(const QByteArray &memory) const;

    AtChannel &m_channel;
    ModemLimits m_limits;
    QByteArrayList m_memories;
    QByteArray m_selected;
    int m_selectionSize = 3; ///< memories that this modem's +CPMS takes
    QHash<QByteArray, int> m_totals;
};
