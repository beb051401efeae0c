#pragma once

#include "simulator/network/ModemState.h"

#include <QByteArrayList>

namespace simulator
{
/// How messages look in answers and notifications, in PDU and in text mode (3GPP TS 27.005, 3.4 and 4).

/// The lines of +CMGL for a stored message; in PDU mode only.
QByteArrayList listLines(int index, const StoredMessage &message);
/// The lines of +CMGR for a stored message.
QByteArrayList readLines(const ModemState &state, const StoredMessage &message);
/// +CMT with the message itself.
QByteArrayList directMessageLines(const ModemState &state, const QByteArray &pdu);

/// The text-mode word for a status, "REC UNREAD" for instance.
QByteArray statusWord(MessageStatus status);
} // namespace simulator
