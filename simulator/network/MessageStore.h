#pragma once

#include <QByteArray>
#include <map>
#include <optional>

namespace simulator
{
/// <stat> of 3GPP TS 27.005, 3.1, with its PDU-mode values.
enum class MessageStatus { ReceivedUnread = 0, ReceivedRead = 1, StoredUnsent = 2, StoredSent = 3 };

struct StoredMessage {
    MessageStatus status = MessageStatus::ReceivedUnread;
    QByteArray pdu; ///< raw octets, service-centre address first
};

/// One message memory ("SM" or "ME"): numbered places of which each holds one message.
class MessageStore
{
public:
    int capacity = 50; ///< when it is less than used, the store is full until enough was removed
    int firstIndex = 1;
    bool isMoving = false; ///< those behind a removed one move up by a place each, as some phones do it
    std::map<int, StoredMessage> messages;

    /// Takes the lowest free place; absent when the store is full.
    std::optional<int> add(MessageStatus status, const QByteArray &pdu);
    StoredMessage *find(int index);
    [[nodiscard]] bool isValidIndex(int index) const;
    void remove(int index);
    [[nodiscard]] int used() const { return static_cast<int>(messages.size()); }
};
} // namespace simulator
