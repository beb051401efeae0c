#include "database/dialects/SqlDialects.h"

using namespace Qt::StringLiterals;

namespace
{

using Kind = DatabaseFault::Kind;

class MariaDbDialect final : public SqlDialect
{
public:
    MariaDbDialect()
        : SqlDialect({
              .begin = u"START TRANSACTION"_s,
              .quote = u'`',
              // In UTF-16 its driver takes a character like U+4E00 for an end and miscounts.
              .odbcSpeaksUtf8 = true,
              .writingProbe = {u"start transaction read write"_s, u"rollback"_s},
              // A session lock of the mark's name: connection numbers come again when the server is started anew. A
              // session may end others of its own account.
              .sessionMarking = u"select get_lock(?, 0)"_s,
              .endOfMarkedSession = u"kill is_used_lock(?)"_s,
              // The keepalives of its lines are the system's, as a rule of two hours.
              .silenceLimit = u"set session wait_timeout=45"_s,
              .identityQuery = u"select nullif(last_insert_id(), 0)"_s,
              // Otherwise it still answers an earlier row's number when a trigger or the statement gave this one's.
              .identityReset = u"do last_insert_id(0)"_s,
              // MariaDB since 10.5. It tells the number also where a trigger or the statement gave it.
              .returningInsertProbe =
                  u"select version() like '%MariaDB%' and (substring_index(version(), '.', 1) > 10 or"
                  " version() regexp '^10[.]([5-9]|[1-9][0-9])')"_s,
              .rowCountQuery = u"select row_count()"_s,
              .updateOfFirstRow = u"update %1 set %2 where %3 limit 1"_s,
              // The length is left out: this server's refusal names the column itself.
              .columnsQuery =
                  u"select table_name, column_name, null, character_set_name from information_schema.columns"
                  " where table_schema=database() and lower(table_name)=?"
                  " order by table_name, ordinal_position"_s,
              // A larger packet is answered with an error, and then the connection is cut.
              .payloadLimitQuery = u"select @@max_allowed_packet"_s,
              .leniencyQuery = u"select @@sql_mode not like '%STRICT%'"_s,
              .warningsQuery = u"show warnings"_s,
              // A number cut to its range, data truncated, data too long.
              .cutValueWarnings = {1264, 1265, 1406},
              .encryptionQuery = u"show session status like 'Ssl_cipher'"_s,
              .tablesWithoutTransactionsQuery =
                  u"select t.table_name from information_schema.tables t join information_schema.engines e"
                  " on e.engine=t.engine where t.table_schema=database() and e.transactions<>'YES'"_s,
              .replacedTextQuery =
                  u"select cast(convert(convert(? using %1) using utf8mb4) as char(16000000))"_s,
          })
    {
    }

    [[nodiscard]] QStringList sessionSetup(const Session &session) const override
    {
        const auto seconds = session.limits.statement.count();
        QStringList statements = {
            u"set autocommit=1"_s,
            // With these char(n) comes with its blanks, and a table is not changed by any column.
            u"set session sql_mode=replace(@@sql_mode, 'PAD_CHAR_TO_FULL_LENGTH', '')"_s,
            u"set session sql_safe_updates=0"_s,
            // Times of timestamp columns are ours, whatever the server's zone is. The offset is where the
            // server has no zone tables.
            u"set time_zone='%1'"_s.arg(session.offset),
            u"set time_zone='%1'"_s.arg(session.zone),
        };
        if (session.version.contains("MariaDB"_L1, Qt::CaseInsensitive))
            // On since 11.6: a delete of what another has deleted is then refused.
            statements += {u"set session innodb_snapshot_isolation=off"_s,
                           u"set session max_statement_time=%1"_s.arg(seconds)};
        else
            statements += u"set session max_execution_time=%1"_s.arg(seconds * 1000);
        return statements;
    }

    /// In whole seconds; MySQL waits for one at least.
    [[nodiscard]] QStringList lockLimit(std::chrono::milliseconds limit) const override
    {
        const auto seconds = std::chrono::floor<std::chrono::seconds>(limit).count();
        return {u"set session innodb_lock_wait_timeout=%1"_s.arg(seconds),
                u"set session lock_wait_timeout=%1"_s.arg(seconds)};
    }

    /// The names are the whole server's, so that the database's own is in them. "for update" reads what is
    /// committed now; its row stays locked until the end of the statement alone.
    [[nodiscard]] BoundStatement takeNamedLock(const QByteArray &name,
                                               const LockedReading *reading) const override
    {
        const QString lock = u"get_lock(%1, 0)"_s.arg(lockName());
        if (reading == nullptr)
            return {"select null, "_L1 + lock, {QString::fromLatin1(name)}};
        return {u"select %1, %2 from %3 where %4 for update"_s.arg(reading->expression, lock, reading->table,
                                                                   reading->condition),
                QVariantList{QString::fromLatin1(name)} + reading->values};
    }
    [[nodiscard]] BoundStatement releaseNamedLock(const QByteArray &name) const override
    {
        return {u"select release_lock(%1)"_s.arg(lockName()), {QString::fromLatin1(name)}};
    }
    /// The server's locks are never shared. So each is a row of them: who shares it takes the first that is free, who is
    /// alone takes them all.
    [[nodiscard]] SharedLock sharedLock(const QByteArray &name, bool isShared) const override
    {
        constexpr int mostSharing = 32;
        QStringList takes;
        QStringList releases;
        for (int place = 1; place <= mostSharing; ++place) {
            takes += u"get_lock(concat(n, ' %1'), 0)"_s.arg(place);
            releases += u"coalesce(release_lock(concat(n, ' %1')), 0)"_s.arg(place);
        }
        const QString release = releases.join(u'+');
        const QString take =
            isShared ? takes.join(" or "_L1)
                     : u"case when %1 then 1 else 0*(%2) end"_s.arg(takes.join(" and "_L1), release);
        const QString query = u"select %1 from (select %2 as n) as lock_name"_s;
        const QVariantList values{QString::fromLatin1(name)};
        return {{query.arg(take, lockName()), values}, {query.arg(release, lockName()), values}};
    }

    [[nodiscard]] QString clusterSizeQuery(const QString &version) const override
    {
        return version.contains("MariaDB"_L1, Qt::CaseInsensitive)
                   ? u"select variable_value from information_schema.global_status"
                     " where variable_name='wsrep_cluster_size'"_s
                   : u"select count(*) from performance_schema.replication_group_members"
                     " where member_state='ONLINE'"_s;
    }

    /// Numbers of the server (1xxx and up) and of the client library (2xxx, 5xxx).
    [[nodiscard]] Kind kindOf(const SqlErrorCode &code) const override
    {
        const int number = code.number;
        if (number == 0) // said by a driver that is not the server
            return code.state.isEmpty() || code.state.startsWith("08"_L1) ? Kind::Lost : Kind::Refused;
        const bool isLost = isOneOf(number, {1053, 1077, 1079, 1080,       // the server shuts down
                                             1158, 1159, 1160, 1161, 1184, // communication, on its side
                                             1243, 1615, // it has forgotten a prepared statement
                                             1290, 1836, // read-only: it became a replica
                                             1927,       // the connection was killed
                                             2048, 2055, 4031}) ||
                            (number >= 2000 && number < 2030) || (number >= 5000 && number < 5100);
        if (isLost)
            return Kind::Lost;
        if (isOneOf(number, {1205, 1213, 1317, // lock limit, deadlock, interrupted
                             1969, 3024,       // statement limit, MariaDB and MySQL
                             3572}))           // not to be waited for
            return Kind::Locked;
        const bool isUnavailable = isOneOf(number, {1021, 1114, 1037, 1038, 1041, // disk, table, memory full
                                                    1040, 1203, 1226, // too many connections, requests
                                                    1047,             // a cluster's node that is not ready
                                                    1461});           // too many prepared statements
        return isUnavailable ? Kind::Unavailable : Kind::Refused;
    }

    [[nodiscard]] DatabaseFault::Cause causeOf(const SqlErrorCode &code) const override
    {
        using Cause = DatabaseFault::Cause;
        if (isOneOf(code.number, {1267, 1270, 1271, // sets are compared that cannot be
                                  1366,             // no value of this column's set
                                  3854, 3988}))     // no conversion, MySQL
            return Cause::Characters;
        // The table is read-only; no right to it or to a column.
        return isOneOf(code.number, {1036, 1142, 1143}) ? Cause::Table : Cause::Other;
    }

private:
    static QString lockName() { return u"sha1(concat(lower(database()), ?))"_s; }
};

} // namespace

std::unique_ptr<SqlDialect> mariaDbDialect()
{
    return std::make_unique<MariaDbDialect>();
}
