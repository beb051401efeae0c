#pragma once

#include "alerts/MailKind.h"
#include "foundation/UserValues.h"

/// The mail number up to which a user has been alerted, one row of SMS_Alert_MaxOAID per user and kind of
/// mail, as it is at the beginning of a pass.
class Watermarks
{
public:
    /// Throws DatabaseFault.
    explicit Watermarks(Connection &connection);

    /// Nothing when there is no row or its number is null; both count as 0. Throws Fault for a value that is
    /// no number, and DatabaseFault.
    [[nodiscard]] std::optional<qint64> stored(const QString &userName, MailKind kind) const;

    /// Writes the user's row: the first one there is, else a new one. Throws DatabaseFault.
    static void store(Connection &connection, const QString &userName, MailKind kind, qint64 watermark);

private:
    UserValues m_values;
};
