#include "database/driver/SqlDialect.h"

#include "database/driver/BoundValue.h"

using namespace Qt::StringLiterals;

void SqlDialect::setUpSession(const QString &version, const DatabaseLimits &limits,
                              const std::function<void(const QString &sql)> &run) const
{
    const QStringList statements =
        sessionSetup({version, localZoneName(), localZoneOffset(), limits}) + writingProbe();
    for (const QString &statement : statements) {
        try {
            run(statement);
        } catch (const DatabaseFault &fault) {
            if (fault.kind() != DatabaseFault::Kind::Refused)
                throw;
        }
    }
}

QString SqlDialect::savepoint(const QString &name) const
{
    return "SAVEPOINT "_L1 + name;
}

QString SqlDialect::releaseSavepoint(const QString &name) const
{
    return "RELEASE SAVEPOINT "_L1 + name;
}

QString SqlDialect::rollbackToSavepoint(const QString &name) const
{
    return "ROLLBACK TO SAVEPOINT "_L1 + name;
}

QString SqlDialect::identityInsert(const QString &insert, const QString &) const
{
    return insert;
}

QString SqlDialect::quotedName(const QString &name) const
{
    return u'"' + QString(name).replace(u'"', R"("")"_L1) + u'"';
}
