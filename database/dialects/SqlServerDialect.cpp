#include "database/dialects/SqlDialects.h"

#include <chrono>

using namespace Qt::StringLiterals;

namespace
{

using Kind = DatabaseFault::Kind;

class SqlServerDialect final : public SqlDialect
{
public:
    [[nodiscard]] QStringList sessionSetup(const Session &session) const override
    {
        return {
            // "2006-03-05 07:08:09" is read by the session's language otherwise,
            // in some with day and month exchanged.
            u"set dateformat ymd"_s,
            u"set lock_timeout %1"_s.arg(std::chrono::milliseconds(session.limits.statement).count()),
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

    [[nodiscard]] QString begin() const override { return u"BEGIN TRANSACTION"_s; }
    [[nodiscard]] QString commit() const override { return u"COMMIT TRANSACTION"_s; }
    [[nodiscard]] QString rollback() const override { return u"IF @@TRANCOUNT>0 ROLLBACK TRANSACTION"_s; }
    [[nodiscard]] QString savepoint(const QString &name) const override
    {
        return "SAVE TRANSACTION "_L1 + name;
    }
    [[nodiscard]] QString releaseSavepoint(const QString &) const override { return {}; }
    [[nodiscard]] QString rollbackToSavepoint(const QString &name) const override
    {
        return "ROLLBACK TRANSACTION "_L1 + name;
    }

    /// scope_identity() is this batch's own, whatever a trigger numbers;
    /// OUTPUT is refused on tables with triggers.
    [[nodiscard]] QString identityInsert(const QString &insert, const QString &) const override
    {
        // In a batch with parameters the setting may outlive the batch, and then hides every later count.
        return "set nocount on; "_L1 + insert +
               "; set nocount off; select cast(scope_identity() as bigint)"_L1;
    }

    [[nodiscard]] QString updateOfFirstRow(const QString &table, const QString &assignments,
                                           const QString &condition) const override
    {
        return u"update top (1) %1 set %2 where %3"_s.arg(table, assignments, condition);
    }

    [[nodiscard]] QString openTransactionsQuery() const override { return u"select @@trancount"_s; }
    [[nodiscard]] QString rowCountQuery() const override { return u"select @@rowcount"_s; }
    [[nodiscard]] bool hasNamedLocks() const override { return true; }

    [[nodiscard]] BoundStatement takeNamedLock(const QByteArray &old, const QByteArray &taken,
                                               const LockedReading *reading) const override
    {
        const QString batch =
            u"set nocount on; declare @old nvarchar(32), @taken nvarchar(32), @held int;"
            " select @old=?, @taken=?;"
            " if applock_mode('public', @old, 'Session')<>'NoLock'"
            " exec sp_releaseapplock @Resource=@old, @LockOwner='Session';"
            " exec @held=sp_getapplock @Resource=@taken, @LockMode='Exclusive', @LockOwner='Session',"
            " @LockTimeout=0; set nocount off;"
            " select %1, case when @held>=0 then 1 else 0 end%2"_s;
        const QVariantList keys{QString::fromLatin1(old), QString::fromLatin1(taken)};
        if (reading == nullptr)
            return {batch.arg(u"null"_s, QString()), keys};
        return {
            batch.arg(reading->expression, u" from %1 where %2"_s.arg(reading->table, reading->condition)),
            keys + reading->values};
    }
    [[nodiscard]] BoundStatement releaseNamedLock(const QByteArray &held) const override
    {
        return {u"set nocount on; declare @held nvarchar(32); select @held=?;"
                " if applock_mode('public', @held, 'Session')<>'NoLock'"
                " exec sp_releaseapplock @Resource=@held, @LockOwner='Session'; set nocount off; select 1"_s,
                {QString::fromLatin1(held)}};
    }

    [[nodiscard]] Kind kindOf(const SqlErrorCode &code) const override
    {
        switch (code.number) {
        case 233:   // the server closed the connection
        case 596:   // session killed
        case 3906:  // the database became read-only
        case 6005:  // shutdown in progress
        case 10053: // aborted, reset or timed out on the line
        case 10054:
        case 10060:
        case 20003: // FreeTDS: time limit, read, write and connection failures
        case 20004:
        case 20006:
        case 20009:
        case 20047:
            return Kind::Lost;
        case 701:   // no memory
        case 1105:  // disk full
        case 1205:  // deadlock
        case 1222:  // lock time limit
        case 9002:  // log full
        case 17142: // paused
            return Kind::Unavailable;
        default:
            break;
        }
        if (code.state.isEmpty() || code.state.startsWith("08"_L1))
            return Kind::Lost;
        return code.state.startsWith("HYT"_L1) ? Kind::Unavailable : Kind::Refused;
    }
    [[nodiscard]] DatabaseFault::Cause causeOf(const SqlErrorCode &code) const override
    {
        // No right to the table, or to a column of it.
        return code.number == 229 || code.number == 230 ? DatabaseFault::Cause::Table
                                                        : DatabaseFault::Cause::Other;
    }
};

} // namespace

std::unique_ptr<SqlDialect> sqlServerDialect()
{
    return std::make_unique<SqlServerDialect>();
}
