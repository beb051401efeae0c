#include "database/dialects/SqlDialects.h"

using namespace Qt::StringLiterals;

namespace
{

using Kind = DatabaseFault::Kind;

class SqliteDialect final : public SqlDialect
{
public:
    SqliteDialect()
        : SqlDialect({
              // A transaction that reads and then writes would otherwise be refused, without waiting, when another
              // program has committed in between.
              .begin = u"BEGIN IMMEDIATE"_s,
              // The number of the last row would be that of another table for a row that a trigger stored.
              .identityInsert = u"%1 returning %2"_s,
              .updateOfFirstRow = u"update %1 set %2 where rowid=(select rowid from %1 where %3 limit 1)"_s,
          })
    {
    }

    [[nodiscard]] Kind kindOf(const SqlErrorCode &code) const override
    {
        // BUSY, LOCKED, NOMEM, READONLY, FULL
        if (isOneOf(code.number & primaryCode, {5, 6, 7, readOnly, 13}))
            return Kind::Unavailable;
        // IOERR, CORRUPT, CANTOPEN, NOTADB
        return isOneOf(code.number & primaryCode, {10, 11, 14, 26}) ? Kind::Lost : Kind::Refused;
    }
    [[nodiscard]] DatabaseFault::Cause causeOf(const SqlErrorCode &code) const override
    {
        return (code.number & primaryCode) == readOnly ? DatabaseFault::Cause::Table
                                                       : DatabaseFault::Cause::Other;
    }

private:
    static constexpr int primaryCode = 0xff; // the low byte of a result code
    static constexpr int readOnly = 8;
};

} // namespace

std::unique_ptr<SqlDialect> sqliteDialect()
{
    return std::make_unique<SqliteDialect>();
}
