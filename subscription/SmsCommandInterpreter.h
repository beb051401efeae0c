#pragma once

#include "database/Connection.h"

#include <functional>

/// The SMS command language: a text that equals a code of SMS_Order switches its sender's subscription.
/// Every operation throws DatabaseFault. "First" is always the first row in the database's own order.

/// The order type of the first order whose subscribe or cancel code equals the text in the database's eyes
/// (which may ignore letter case or blanks at the end); "" when there is none.
[[nodiscard]] QString getOrderName(Connection &connection, const QString &text);

/// True for the order types whose codes are commands: NBYJ, WBYJ, RCGL, exactly so.
[[nodiscard]] bool isCommandType(const QString &orderName);

/// Carries out a command: when the text is exactly a code of the type's first order, the type is open, and the sender a
/// user who may use it (letter case in UserList counts), switches the subscription and has it confirmed, both or neither; else nothing.
/// orderName: a command type. senderNumber: as delivered by the modem. confirm: queues a reply to the sender,
/// inside the transaction of the switch.
void handleOrderCommand(Connection &connection, const QString &orderName, const QString &senderNumber,
                        const QString &text, const std::function<void(const QString &reply)> &confirm);
