#pragma once

#include "database/Connection.h"

/// Sets the watermarks of every active user with a mobile number, for both kinds of mail, to the highest mail
/// number there is, so that no mail of today or before is alerted; all of them or none. Returns how many
/// users. Throws DatabaseFault.
[[nodiscard]] int skipOldMail(Connection &connection);
