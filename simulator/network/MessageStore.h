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

    [[nodiscard]] bool isReceived() const
    {
        return status == MessageStatus::ReceivedUnread || status == MessageStatus::ReceivedRead;
    }
};

/// One message memory ("SM" or "ME"): numbered places of which each holds one message.
class MessageStore
{
public:
    /// Takes the lowest free place; absent when the store is full.
    std::optional<int> add(MessageStatus status, const QByteArray &pdu);
    StoredMessage *find(int index);
    [[nodiscard]] bool isValidIndex(int index) const;
    void remove(int index);
    /// Those behind a removed one move up by a place each, as some phones do it.
    void setMoving(bool isMoving) { m_isMoving = isMoving; }
    void setFirstIndex(int index) { m_firstIndex = index; }
    [[nodiscard]] int firstIndex() const { return m_firstIndex; }
    /// A smaller capacity keeps what is stored; the store is full until enough was removed.
    void setCapacity(int capacity) { m_capacity = capacity; }

    [[nodiscard]] int capacity() const { return m_capacity; }
    [[nodiscard]] int used() const { return static_cast<int>(m_messages.size()); }
    std::map<int, StoredMessage> &messages() { return m_messages; }

private:
    int m_capacity = 50;
    int m_firstIndex = 1;
    bool m_isMoving = false;
    std::map<int, StoredMessage> m_messages;
};
} // namespace simulator
