#pragma once

#include <QStringList>

/// What became of a message in the handler of ModemControl::messageArrived().
enum class MessageFate : int {
    Handled, ///< dealt with: the modem's copy is removed
    Refused, ///< this message cannot be stored: it is kept and raised again later and later, the others go on
    Wait,    ///< nothing can be handled now: it and all later ones are kept and raised again soon, in order
};

/// What the modem control knows of the message being raised beyond what read() gives.
struct MessageOrigin {
    bool isLeftOver =
        false; ///< it lay in the store when the port was opened: an earlier run may have handled it
    QStringList fragments;  ///< the texts of the parts that came, of a message that is not complete
    bool mustLeave = false; ///< the modem cannot keep it, or its store is nearly full
    bool operator==(const MessageOrigin &) const = default;
};
