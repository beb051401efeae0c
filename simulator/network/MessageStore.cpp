#include "simulator/network/MessageStore.h"

namespace simulator
{
std::optional<int> MessageStore::add(MessageStatus status, const QByteArray &pdu)
{
    if (used() >= capacity)
        return std::nullopt;
    int index = firstIndex;
    while (messages.contains(index))
        ++index;
    messages.emplace(index, StoredMessage{status, pdu});
    return index;
}

StoredMessage *MessageStore::find(int index)
{
    const auto found = messages.find(index);
    return found == messages.end() ? nullptr : &found->second;
}

void MessageStore::remove(int index)
{
    if (messages.erase(index) == 0 || !isMoving)
        return;
    std::map<int, StoredMessage> moved;
    for (auto &[place, message] : messages)
        moved.emplace(place > index ? place - 1 : place, std::move(message));
    messages = std::move(moved);
}

bool MessageStore::isValidIndex(int index) const
{
    return (index >= firstIndex && index < firstIndex + capacity) || messages.contains(index);
}
} // namespace simulator
