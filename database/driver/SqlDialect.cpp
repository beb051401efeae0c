#include "database/driver/SqlDialect.h"

#include "database/driver/BoundValue.h"

using namespace Qt::StringLiterals;

void SqlDialect::setUpSession(const QString &version, const DatabaseLimits &limits,
                              const std::function<void(const QString &sql)> &run) const
{
    const QStringList statements = sessionSetup({version, localZoneName(), localZoneOffset(), limits}) +
                                   lockLimit(DatabaseLimits::lock) + m_traits.writingProbe;
    for (const QString &statement : statements) {
        try {
            run(statement);
        } catch (const DatabaseFault &fault) {
            if (fault.kind() != DatabaseFault::Kind::Refused)
                throw;
        }
    }
}

QString SqlDialect::quotedName(const QString &name) const
{
    const QChar quote = m_traits.quote;
    return quote.isNull() ? name : quote + QString(name).replace(quote, QString(2, quote)) + quote;
}

DatabaseFault::Kind SqlDialect::kindOf(const SqlErrorCode &code) const
{
    using Kind = DatabaseFault::Kind;
    if (code.state.isEmpty() || code.state.startsWith("08"_L1))
        return Kind::Lost;
    return code.state.startsWith("HYT"_L1) ? Kind::Locked : Kind::Refused;
}
