#pragma once

#include "database/Recordset.h"
#include "tests/support/Office.h"
#include "tests/support/TextTable.h"

#include <functional>
#include <optional>

/// The fault that some work ends with.
inline std::optional<DatabaseFault> faultOf(const std::function<void()> &work)
{
    try {
        work();
    } catch (const DatabaseFault &fault) {
        return fault;
    }
    return std::nullopt;
}

inline std::optional<DatabaseFault::Kind> kindOf(const std::function<void()> &work)
{
    const auto fault = faultOf(work);
    return fault ? std::optional(fault->kind()) : std::nullopt;
}

/// The program adds a row.
inline void append(Office &office, const QString &table,
                   const QList<std::pair<QLatin1String, QVariant>> &values)
{
    Recordset row(office.session.Conn());
    row.openForAppend(table);
    row.addNew();
    for (const auto &[column, value] : values)
        row.set(column, value);
    row.update();
}
