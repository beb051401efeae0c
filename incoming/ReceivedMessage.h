#pragma once

#include "modem/MessageFate.h"

#include <QString>
#include <optional>

/// One message as the modem control delivers it.
struct ReceivedMessage {
    QString sender; ///< as delivered, international numbers with "+"
    QString text;
    QString receiveTime; ///< as delivered: shown and stored, never parsed
    MessageOrigin origin = {};
    /// Of a command that is being obeyed: the highest keys before. A confirmation beyond them proves that it was.
    struct Before {
        qint64 queue = 0;   ///< OAID of SMS_Queues
        qint64 results = 0; ///< OAID of SMS_ResultDetail
    };
    std::optional<Before> before = {};

    /// The same to whoever reads it in the database.
    [[nodiscard]] bool isSameAs(const ReceivedMessage &other) const
    {
        return sender == other.sender && text == other.text && receiveTime == other.receiveTime;
    }
};
