#pragma once

#include "database/driver/SqlDialect.h"

#include <QString>
#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>
#include <utility>

/// A handle of the ODBC C API, freed at the end of its life.
class OdbcHandle
{
public:
    /// parent: none for an environment. Null when there is none to be had, as on a lost connection.
    OdbcHandle(SQLSMALLINT type, SQLHANDLE parent);
    ~OdbcHandle();
    OdbcHandle(const OdbcHandle &) = delete;
    OdbcHandle &operator=(const OdbcHandle &) = delete;
    OdbcHandle(OdbcHandle &&other) noexcept
        : m_type(other.m_type), m_handle(std::exchange(other.m_handle, nullptr))
    {
    }
    OdbcHandle &operator=(OdbcHandle &&) = delete;

    [[nodiscard]] SQLHANDLE get() const { return m_handle; }
    [[nodiscard]] bool isNull() const { return m_handle == nullptr; }

    struct Diagnosis {
        SqlErrorCode code; ///< of the first record
        QString text;      ///< all records, without the driver's own prefixes, on one line
    };
    /// What the last call on this handle had to say. Some drivers say nothing at all about a lost connection.
    [[nodiscard]] Diagnosis diagnosis() const;

private:
    SQLSMALLINT m_type = 0;
    SQLHANDLE m_handle = nullptr;
};

/// A text for the ODBC calls that take one: they want it writable.
[[nodiscard]] inline SQLWCHAR *odbcText(const QString &text)
{
    static_assert(sizeof(SQLWCHAR) == sizeof(char16_t));
    return reinterpret_cast<SQLWCHAR *>(
        const_cast<char16_t *>(reinterpret_cast<const char16_t *>(text.utf16())));
}
