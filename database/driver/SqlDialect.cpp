#include "database/driver/SqlDialect.h"

#include "database/driver/BoundValue.h"

using namespace Qt::StringLiterals;

void SqlDialect::setUpSession(const QString &version, const DatabaseLimits &limits,
                              const std::function<void(const QString &sql)> &run) const
{
    const QStringList statements = sessionSetup({version, localZoneName(), localZoneOffset(), limits}) +
                                   lockLimit(limits.lock) + writingProbe();
    for (const QString &statement : statements) {
        try {
            run(statement);
        } catch (const DatabaseFault &fault) {
            if (fault.kind() != DatabaseFault::Kind::Refused)
                throw;
        }
    }
}

QString SqlDialect::identityInsert(const QString &insert, const QString &) const
{
    return insert;
}

QString SqlDialect::quotedName(const QString &name) const
{
    return m_quote.isNull() ? name : m_quote + QString(name).replace(m_quote, QString(2, m_quote)) + m_quote;
}

QString SqlDialect::updateOfFirstRow(const QString &table, const QString &assignments,
                                     const QString &condition) const
{
    return u"update %1 set %2 where %3"_s.arg(table, assignments, condition);
}

DatabaseFault::Kind SqlDialect::kindOf(const SqlErrorCode &code) const
{
    using Kind = DatabaseFault::Kind;
    if (code.state.isEmpty() || code.state.startsWith("08"_L1))
        return Kind::Lost;
    return code.state.startsWith("HYT"_L1) ? Kind::Locked : Kind::Refused;
}

QString SqlDialect::returningInsert(const QString &insert, const QString &column)
{
    return insert + " returning "_L1 + column;
}
