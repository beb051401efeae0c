#pragma once

#include "database/Connection.h"

/// Lookups in the OA system's user table: exact text equality, first row in the database's own order, nothing
/// trimmed, normalised or cached.

/// The user's mobile number; "" when there is no such user, no number, or when the lookup fails. A failure is
/// remembered by the connection: a transaction around it refuses to commit.
[[nodiscard]] QString getUserMB(Connection &connection, const QString &UserName);

/// The name of the user with this mobile number; "" when there is none or when the lookup fails (as above).
[[nodiscard]] QString getMBUser(Connection &connection, const QString &MB);

/// The user's display name; an invalid QVariant when there is no such user or no name. Throws DatabaseFault.
[[nodiscard]] QVariant ShowUserName(Connection &connection, const QString &UserName);
