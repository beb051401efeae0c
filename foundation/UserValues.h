#pragma once

#include "database/Connection.h"

#include <QHash>

/// A table that holds one value per user and type, read at once for a whole pass: value() answers as
///     select VALUE from TABLE where UserName=? and TYPE=?
/// would, without a query for each user. Which texts are equal, and which of several rows is the first, stays
/// the database's own affair: it is asked again wherever the reading leaves a doubt.
class UserValues
{
public:
    /// Reads the table. Throws DatabaseFault.
    UserValues(Connection &connection, const QString &table, const QString &typeColumn,
               const QString &valueColumn);

    /// The value in the first row of that user and type (null as it is); nothing when there is no row.
    /// Throws DatabaseFault.
    [[nodiscard]] std::optional<QVariant> value(const QString &userName, const QString &type) const;

private:
    struct Row {
        QString userName;
        QString type;
        QVariant value;
        bool hasRivals; // other rows may be equal to it in the database's eyes
    };

    Connection &m_connection;
    QString m_question;
    QHash<QString, Row> m_rows;
};
