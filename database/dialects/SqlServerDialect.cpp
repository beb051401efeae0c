#include "database/dialects/SqlDialects.h"

#include <chrono>

using namespace Qt::StringLiterals;

namespace
{

using Kind = DatabaseFault::Kind;

class SqlServerDialect final : public SqlDialect
{
public:
    SqlServerDialect()
        : SqlDialect({
              .begin = u"BEGIN TRANSACTION"_s,
              .commit = u"COMMIT TRANSACTION"_s,
              .rollback = u"IF @@TRANCOUNT>0 ROLLBACK TRANSACTION"_s,
              .savepoint = u"SAVE TRANSACTION %1"_s,
              .release = {},
              .rollbackTo = u"ROLLBACK TRANSACTION %1"_s,
              // scope_identity() is this batch's own, whatever a trigger numbers; OUTPUT is refused on tables with
              // triggers. In a batch with parameters the setting may outlive the batch, and then hides every later count.
              .identityInsert =
                  u"set nocount on; %1; set nocount off; select cast(scope_identity() as bigint)"_s,
              .openTransactionsQuery = u"select @@trancount"_s,
              .rowCountQuery = u"select @@rowcount"_s,
              .updateOfFirstRow = u"update top (1) %1 set %2 where %3"_s,
              .pastHeldRows = u" with (readpast)"_s,
          })
    {
    }

    [[nodiscard]] QStringList sessionSetup(const Session &) const override
    {
        return {
            // "2006-03-05 07:08:09" is read by the session's language otherwise,
            // in some with day and month exchanged.
            u"set dateformat ymd"_s,
            // A text too long is refused, not cut.
            u"set ansi_warnings on"_s,
            u"set ansi_padding on"_s,
            // A refused statement costs only itself, not the transaction.
            u"set xact_abort off"_s,
            u"set implicit_transactions off"_s,
            // Servers and logins can have it on for every session.
            u"set nocount off"_s,
        };
    }

    [[nodiscard]] QStringList lockLimit(std::chrono::milliseconds limit) const override
    {
        return {u"set lock_timeout %1"_s.arg(limit.count())};
    }

    [[nodiscard]] BoundStatement takeNamedLock(const QByteArray &name,
                                               const LockedReading *reading) const override
    {
        return takeLock(name, u"Exclusive"_s, reading);
    }
    [[nodiscard]] BoundStatement releaseNamedLock(const QByteArray &name) const override
    {
        return {u"set nocount on; declare @held nvarchar(32); select @held=?;"
                " if applock_mode('public', @held, 'Session')<>'NoLock'"
                " exec sp_releaseapplock @Resource=@held, @LockOwner='Session'; set nocount off; select 1"_s,
                {QString::fromLatin1(name)}};
    }
    [[nodiscard]] SharedLock sharedLock(const QByteArray &name, bool isShared) const override
    {
        return {takeLock(name, isShared ? u"Shared"_s : u"Exclusive"_s, nullptr), releaseNamedLock(name)};
    }

    [[nodiscard]] Kind kindOf(const SqlErrorCode &code) const override
    {
        if (isOneOf(code.number,
                    {233, 596,            // the server closed the connection, killed the session
                     3906,                // the database became read-only
                     6005,                // it shuts down
                     10053, 10054, 10060, // aborted, reset or timed out on the line
                     20003, 20004, 20006, 20009, 20047})) // FreeTDS: time limit, connection failures
            return Kind::Lost;
        if (isOneOf(code.number, {1205, 1222, 3960})) // deadlock, lock time limit, changed since the snapshot
            return Kind::Locked;
        if (isOneOf(code.number, {701, 1105, 9002, 1204, 8645, // memory, disk, log, locks, memory for a query
                                  17142}))                     // paused
            return Kind::Unavailable;
        return SqlDialect::kindOf(code);
    }
    [[nodiscard]] DatabaseFault::Cause causeOf(const SqlErrorCode &code) const override
    {
        // No right to the table, or to a column of it.
        return isOneOf(code.number, {229, 230}) ? DatabaseFault::Cause::Table : DatabaseFault::Cause::Other;
    }

private:
    static BoundStatement takeLock(const QByteArray &name, const QString &mode, const LockedReading *reading)
    {
        const QString reads = reading == nullptr
                                  ? u"null"_s
                                  : u"(select %1 from %2 where %3)"_s.arg(reading->expression, reading->table,
                                                                          reading->condition);
        return {u"set nocount on; declare @name nvarchar(32), @held int; select @name=?;"
                " exec @held=sp_getapplock @Resource=@name, @LockMode='%1', @LockOwner='Session',"
                " @LockTimeout=0; set nocount off; select %2, case when @held>=0 then 1 else 0 end"_s.arg(
                    mode, reads),
                QVariantList{QString::fromLatin1(name)} +
                    (reading == nullptr ? QVariantList() : reading->values)};
    }
};

} // namespace

std::unique_ptr<SqlDialect> sqlServerDialect()
{
    return std::make_unique<SqlServerDialect>();
}
