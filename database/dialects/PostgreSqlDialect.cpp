#include "database/dialects/SqlDialects.h"

#include <chrono>

using namespace Qt::StringLiterals;

namespace
{

using Kind = DatabaseFault::Kind;

class PostgreSqlDialect final : public SqlDialect
{
public:
    PostgreSqlDialect()
        : SqlDialect({
              .replacementForNul = QChar::ReplacementCharacter,
              .faultEndsTransaction = true,
              .writingProbe =
                  {u"do $$begin if current_setting('transaction_read_only')='on' then"
                   " raise exception 'the database is read-only' using errcode='25006'; end if; end$$"_s},
              .sessionNumberQuery = u"select pg_backend_pid()"_s,
              .sessionMarking = u"select pg_catalog.set_config('application_name', ?, false)"_s,
              .endOfMarkedSession =
                  u"select pg_catalog.pg_terminate_backend(pid)::text from pg_catalog.pg_stat_activity"
                  " where application_name=? and usename=current_user"_s,
              .identityInsert = u"%1 returning %2"_s,
              // Partitions number their rows each for itself.
              .updateOfFirstRow = u"update %1 set %2 where (tableoid, ctid)=(select tableoid, ctid from %1"
                                  " where %3 limit 1)"_s,
              // atttypmod of varchar(n) and char(n) is n+4.
              .columnsQuery =
                  u"select c.relname, a.attname,"
                  " case when a.atttypid in (1042, 1043) and a.atttypmod > 4 then a.atttypmod - 4 end, null"
                  " from pg_catalog.pg_class c join pg_catalog.pg_attribute a on a.attrelid=c.oid"
                  " where lower(c.relname)=? and c.relkind in ('r', 'v', 'm', 'f', 'p')"
                  " and pg_catalog.pg_table_is_visible(c.oid) and a.attnum > 0 and not a.attisdropped"
                  " order by c.relname, a.attnum"_s,
              .encodingQuery = u"show server_encoding"_s,
          })
    {
    }

    [[nodiscard]] QStringList sessionSetup(const Session &session) const override
    {
        const auto milliseconds = std::chrono::milliseconds(session.limits.statement).count();
        return {
            u"set statement_timeout=%1"_s.arg(milliseconds),
            u"set datestyle=ISO"_s,
            // A machine of ours that died lets its locks go within the minute.
            u"set tcp_keepalives_idle=15"_s,
            u"set tcp_keepalives_interval=5"_s,
            u"set tcp_keepalives_count=3"_s,
            u"set tcp_user_timeout=30000"_s,
            u"set client_min_messages=error"_s, // the rest goes to the program's own output
            // Times without a zone are ours, whatever the server's zone is. The offset is where the name
            // is unknown to the server.
            u"set time zone interval '%1' hour to minute"_s.arg(session.offset),
            u"set time zone '%1'"_s.arg(session.zone),
        };
    }

    [[nodiscard]] QStringList lockLimit(std::chrono::milliseconds limit) const override
    {
        return {u"set lock_timeout=%1"_s.arg(limit.count())};
    }

    /// "for update" reads the row as it is now, not as it was when the statement began. The lock stands outside of the
    /// reading, which looks at a row twice that changed meanwhile: locks of a session stack.
    [[nodiscard]] BoundStatement takeNamedLock(const QByteArray &name,
                                               const LockedReading *reading) const override
    {
        const QString query = u"select %1, case when pg_catalog.pg_try_advisory_lock(cast(? as bigint))"
                              " then 1 else 0 end%2"_s;
        if (reading == nullptr)
            return {query.arg(u"null"_s, QString()), {lockNumber(name)}};
        return {
            query.arg(u"reading"_s,
                      u" from (select %1 as reading from %2 where %3 for update skip locked) as found"_s.arg(
                          reading->expression, reading->table, reading->condition)),
            QVariantList{lockNumber(name)} + reading->values};
    }
    [[nodiscard]] BoundStatement releaseNamedLock(const QByteArray &name) const override
    {
        return lockCall(u"pg_advisory_unlock"_s, name);
    }
    [[nodiscard]] SharedLock sharedLock(const QByteArray &name, bool isShared) const override
    {
        const QString kind = isShared ? u"_shared"_s : QString();
        return {lockCall(u"pg_try_advisory_lock"_s + kind, name),
                lockCall(u"pg_advisory_unlock"_s + kind, name)};
    }

    /// One that speaks PostgreSQL's language knows the names of its locks, and takes none.
    [[nodiscard]] QString clusterSizeQuery(const QString &version) const override
    {
        return version.contains("CockroachDB"_L1) ? u"select 2"_s : QString();
    }

    /// PostgreSQL, appendix A, error codes.
    [[nodiscard]] Kind kindOf(const SqlErrorCode &code) const override
    {
        const QString &state = code.state;
        if (state.isEmpty() || state.startsWith("08"_L1) || state == "HY000"_L1)
            return Kind::Lost;
        // Shut down, or ended for having been idle; a session that cannot serve us until it is a new one: a statement
        // it has forgotten, a server that became a read-only standby. Not 0A000: said by an office's trigger or view
        // it concerns one row, and said of a result planned for a table as it was it is over when prepared anew.
        if (state.startsWith("57P"_L1) || isOneOf(state, {"25P03", "25P04", "26000", "25006"}))
            return Kind::Lost;
        // Time limit, lock, serialisation failure, deadlock.
        if (isOneOf(state, {"57014", "55P03", "40001", "40P01", "HYT00"}))
            return Kind::Locked;
        // No resources, system error.
        return state.startsWith("53"_L1) || state.startsWith("58"_L1) ? Kind::Unavailable : Kind::Refused;
    }

    [[nodiscard]] DatabaseFault::Cause causeOf(const SqlErrorCode &code) const override
    {
        using Cause = DatabaseFault::Cause;
        return code.state == "22P05"_L1   ? Cause::Characters
               : code.state == "42501"_L1 ? Cause::Table
                                          : Cause::Other;
    }

private:
    static bool isOneOf(const QString &state, std::initializer_list<const char *> states)
    {
        return std::any_of(states.begin(), states.end(),
                           [&](const char *one) { return state == QLatin1String(one); });
    }
    static BoundStatement lockCall(const QString &function, const QByteArray &name)
    {
        return {u"select case when pg_catalog.%1(cast(? as bigint)) then 1 else 0 end"_s.arg(function),
                {lockNumber(name)}};
    }
    static qint64 lockNumber(const QByteArray &digest)
    {
        return static_cast<qint64>(digest.left(16).toULongLong(nullptr, 16));
    }
};

} // namespace

std::unique_ptr<SqlDialect> postgreSqlDialect()
{
    return std::make_unique<PostgreSqlDialect>();
}
