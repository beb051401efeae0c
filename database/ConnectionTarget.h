#pragma once

#include "database/native/ServerTarget.h"
#include "database/odbc/OdbcTarget.h"

#include <variant>

/// A database file.
struct EmbeddedTarget {
    QString file;
};

using ConnectionTarget = std::variant<EmbeddedTarget, ServerTarget, OdbcTarget>;

/// What a connection string of any style asks for. docs/connection-strings.md lists the styles and keys.
/// Throws DatabaseFault (Refused) for an unknown provider or key and for a missing one; the text names the
/// key at fault and never shows a password.
[[nodiscard]] ConnectionTarget connectionTarget(const QString &connectionString,
                                                const OdbcInstallation &installation);
