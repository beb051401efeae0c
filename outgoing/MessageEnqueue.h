#pragma once

#include "database/Connection.h"

/// Queues one text for one mobile number, outside any send list (SOAID -1): one row, the text whole.
/// MB, Msg: stored unchanged; neither is checked. The name of the user with that number is stored beside it,
/// "" when there is none. Throws DatabaseFault; no row is then written.
void sysSendSMS(Connection &connection, const QString &MB, const QString &Msg);

/// The same for several texts, in their order, all or none.
void sysSendSMS(Connection &connection, const QString &MB, const QStringList &messages);
