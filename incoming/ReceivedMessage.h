#pragma once

#include "modem/MessageFate.h"

#include <QString>
#include <QStringList>
#include <optional>

/// One message as the modem control delivers it.
struct ReceivedMessage {
    QString sender; ///< as delivered, international numbers with "+"
    QString text;
    QString receiveTime; ///< as delivered: shown and stored, never parsed
    MessageOrigin origin = {};
    /// Of a command that is being obeyed: what was there before. One confirmation more proves that it was.
    struct Before {
        QStringList queued; ///< texts of the replies and alerts for its sender in SMS_Queues
        qint64 results = 0; ///< highest OAID of SMS_ResultDetail
    };
    std::optional<Before> before = {};

    /// The same to whoever reads it in the database.
    [[nodiscard]] bool isSameAs(const ReceivedMessage &other) const
    {
        return sender == other.sender && text == other.text && receiveTime == other.receiveTime;
    }
};
