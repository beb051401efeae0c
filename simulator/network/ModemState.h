#pragma once

#include "simulator/dialogue/AnswerScript.h"
#include "simulator/dialogue/AtSession.h"
#include "simulator/network/MessageStore.h"

#include <QDeadlineTimer>
#include <QHash>
#include <QString>
#include <array>
#include <functional>

namespace simulator
{
/// What commands set and a new start puts back.
struct Settings {
    ResultFormat format;
    int messageFormat = 0;                  ///< +CMGF: 0 PDU mode, 1 text mode
    QList<int> notification{0, 0, 0, 0, 0}; ///< +CNMI: mode, mt, bm, ds, bfr
};

struct Sim {
    QByteArray iccid = "89860000000000000017";
    bool isMissing = false;
    bool pinRequired = false;
    /// After a start everything that needs the SIM is refused so long, with that code of +CME ERROR.
    std::chrono::milliseconds startsFor{0};
    int startingCode = 515;
    QDeadlineTimer starting{0};
};

/// Both is the SIM's places followed by the equipment's.
enum class Memory { Sim, Equipment, Both };

/// What the modem says unasked so long after each of the next starts or opens of the port.
struct UnaskedText {
    int count = AnswerScript::always;
    std::chrono::milliseconds delay{0};
    QByteArray octets;
};

/// "SM", "ME" or "MT".
QByteArray memoryName(Memory memory);
std::optional<Memory> memoryFromName(const QByteArray &name);

/// All that the parts of the modem share. Plain data: whoever changes it tells who must know.
struct ModemState {
    /// Not for Both.
    MessageStore &store(Memory memory) { return stores.at(static_cast<size_t>(memory)); }
    /// The store behind a number of that memory, with the number there.
    struct Place {
        MessageStore *store;
        int index;
    };
    Place place(Memory memory, int number);
    /// What is stored in a memory, by number.
    std::map<int, StoredMessage *> messages(Memory memory);
    /// The number of the place that took the message; absent when the memory is full.
    std::optional<int> add(Memory memory, MessageStatus status, const QByteArray &pdu);
    [[nodiscard]] int used(Memory memory) const;
    [[nodiscard]] int capacity(Memory memory) const;

    /// 1, 5 and the short-message-only states 6 and 7 (3GPP TS 27.007, 7.2).
    [[nodiscard]] bool isRegistered() const
    {
        return outages == 0 && (registration == 1 || (registration >= 5 && registration <= 7));
    }
    /// Another SIM card is put in, with what it holds; the next exchange puts the first one back.
    void exchangeSim();
    /// Why a command that needs the SIM cannot run: a code of +CME ERROR.
    [[nodiscard]] std::optional<int> simRefusal() const;
    [[nodiscard]] bool isTextMode() const { return settings.messageFormat == 1; }

    Settings settings;
    Settings settingsAtStart;
    QByteArray maker = "Modem simulator";
    QByteArray model = "Pseudo-terminal GSM modem";
    Sim sim;
    int registration = 1; ///< <stat> of 3GPP TS 27.007, 7.2
    int signalQuality = 21;
    QString serviceCentre = QStringLiteral("+8613800100500");
    int outages = 0; ///< that have not ended
    QHash<QString, int>
        refusedNumbers;             ///< to which the network sends nothing, with the code of its +CMS ERROR
    int concatenationReference = 0; ///< of the last delivery

    std::array<MessageStore, 2> stores;                                    ///< SM, ME
    std::array<Memory, 3> selected{Memory::Sim, Memory::Sim, Memory::Sim}; ///< +CPMS mem1, mem2, mem3
    int maxMemories = 3;                                                   ///< how many +CPMS takes
    int minMemories = 1;
    bool offersBoth = false;               ///< +CPMS knows MT
    bool keepsRemoved = false;             ///< +CMGD answers OK and removes nothing
    std::optional<Memory> receivingMemory; ///< where messages arrive whatever mem3 says
    /// What +CNMI takes, as its test form offers it (3GPP TS 27.005, 3.4.1).
    QByteArray notificationRanges = "(0-3),(0-3),(0,2),(0-2),(0,1)";
    bool notifies = true;      ///< false: stores received messages without a word
    bool copiesDirect = false; ///< a message that comes as +CMT is stored, too

    std::chrono::milliseconds networkLatency{0};
    std::chrono::milliseconds commandLatency{0}; ///< before each answer
    QByteArrayList unsolicitedInNextCommand;
    QByteArrayList unsolicitedInNextSend;
    AnswerScript answers;
    QList<UnaskedText> startTexts;
    QList<UnaskedText> openTexts;

    /// Tells the person who watches.
    std::function<void(const QString &)> say = [](const QString &) {};

private:
    std::map<int, StoredMessage> m_onOtherSim;
    QByteArray m_otherIccid = "89860000000000000025";
};
} // namespace simulator
