#include "database/dialects/SqlDialects.h"

using namespace Qt::StringLiterals;

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
