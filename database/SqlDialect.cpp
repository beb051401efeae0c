#include "database/SqlDialect.h"

#include "database/BoundValue.h"

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

namespace
{

using Kind = DatabaseFault::Kind;

class StandardSqlDialect final : public SqlDialect
{
public:
    [[nodiscard]] QString updateOfFirstRow(const QString &table, const QString &assignments,
                                           const QString &condition) const override
    {
        return u"update %1 set %2 where %3"_s.arg(table, assignments, condition);
    }

    [[nodiscard]] Kind kindOf(const SqlErrorCode &code) const override
    {
        if (code.state.isEmpty() || code.state.startsWith("08"_L1))
            return Kind::Lost;
        return code.state.startsWith("HYT"_L1) ? Kind::Unavailable : Kind::Refused;
    }
};

} // namespace

std::unique_ptr<SqlDialect> standardSqlDialect()
{
    return std::make_unique<StandardSqlDialect>();
}
