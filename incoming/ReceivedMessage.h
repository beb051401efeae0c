#pragma once

#include "modem/MessageFate.h"

#include <QString>

/// One message as the modem control delivers it.
struct ReceivedMessage {
    QString sender; ///< as delivered, international numbers with "+"
    QString text;
    QString receiveTime; ///< as delivered: shown and stored, never parsed
    MessageOrigin origin = {};

    /// The same to whoever reads it in the database.
    [[nodiscard]] bool isSameAs(const ReceivedMessage &other) const
    {
        return sender == other.sender && text == other.text && receiveTime == other.receiveTime;
    }
};
