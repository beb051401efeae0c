#pragma once

#include "database/driver/Driver.h"

#include <functional>

/// The session of a server that may cut a value that does not fit, with no more than a warning. A statement
/// that had a value cut is taken back and refused, as other servers do by themselves. Costs nothing where the
/// server is strict; else one more statement for each INSERT and UPDATE, and three outside a transaction.
class LenientSession
{
public:
    struct Warning {
        QString level;
        int number = 0;
        QString text;
    };
    /// readWarnings: runs the query for the last statement's warnings, in a way that does not forget them.
    LenientSession(Driver &driver, std::function<QList<Warning>(const QString &query)> readWarnings)
        : m_driver(driver), m_readWarnings(std::move(readWarnings))
    {
    }

    /// Asks the server whether it is lenient; at the end of open(). Throws DatabaseFault.
    void recognise(const SqlDialect &dialect);

    /// True when this statement has to go through run().
    [[nodiscard]] bool concerns(const QString &sql) const;
    enum class Stored { AsItIs, WithOtherCharacters };
    /// Executes the statement. Throws DatabaseFault: what the execution throws, or Refused, the statement
    /// then taken back (inside a transaction: to be taken back with it), when a value was cut.
    Stored run(const QString &sql, bool isInTransaction, const std::function<void()> &execute);

private:
    [[nodiscard]] Stored requireUncut(const QString &sql);

    Driver &m_driver;
    std::function<QList<Warning>(const QString &query)> m_readWarnings;
    const SqlDialect *m_dialect = nullptr; // none: the server is strict
};
