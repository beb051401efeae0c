#include "simulator/network/MessageStore.h"

namespace simulator
{
std::optional<int> MessageStore::add(MessageStatus status, const QByteArray &pdu)
{
    if (used() >= m_capacity)
        return std::nullopt;
    int index = m_firstIndex;
    for (const auto &[taken, message] : m_messages) {
        if (taken != index)
            break;
        ++index;
    }
    m_messages.emplace(index, StoredMessage{status, pdu});
    return index;
}

StoredMessage *MessageStore::find(int index)
{
    const auto found = m_messages.find(index);
    return found == m_messages.end() ? nullptr : &found->second;
}

void MessageStore::remove(int index)
{
    if (m_messages.erase(index) == 0 || !m_isMoving)
        return;
    std::map<int, StoredMessage> moved;
    for (auto &[place, message] : m_messages)
        moved.emplace(place > index ? place - 1 : place, std::move(message));
    m_messages = std::move(moved);
}

bool MessageStore::isValidIndex(int index) const
{
    return (index >= m_firstIndex && index < m_firstIndex + m_capacity) || m_messages.contains(index);
}
} // namespace simulator
