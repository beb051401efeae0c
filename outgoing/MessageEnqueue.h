#pragma once

#include "database/Connection.h"

/// Queues texts for one mobile number, outside any send list (SOAID -1), in their order: one row each, the text whole.
/// MB, messages: stored unchanged; neither is checked. The name of the user with that number is stored beside it,
/// "" when there is none. Throws DatabaseFault; no row is then written.
void sysSendSMS(Connection &connection, const QString &MB, const QStringList &messages);
