#pragma once

#include "database/driver/DatabaseFault.h"
#include "database/driver/DatabaseLimits.h"
#include "database/driver/LockedReading.h"

#include <QStringList>
#include <algorithm>
#include <functional>
#include <memory>

/// What a database system calls an error: SQLSTATE, its own number, or both.
struct SqlErrorCode {
    QString state;  ///< SQLSTATE, "" when the driver tells none
    int number = 0; ///< 0 when the driver tells none
};

/// What begins and ends a transaction. %1: a savepoint's name.
struct TransactionVerbs {
    QString begin = QStringLiteral("BEGIN");
    QString commit = QStringLiteral("COMMIT");
    QString rollback = QStringLiteral("ROLLBACK");
    QString savepoint = QStringLiteral("SAVEPOINT %1");       ///< "" where there are none
    QString release = QStringLiteral("RELEASE SAVEPOINT %1"); ///< "" where savepoints need none
    QString rollbackTo = QStringLiteral("ROLLBACK TO SAVEPOINT %1");
};

/// What one database system needs said its own way in SQL, whichever driver reaches it. As it stands here: a system we
/// know nothing of but that it speaks SQL, and which tells no identity.
class SqlDialect
{
public:
    /// quote: what stands around a name; null where nothing may.
    explicit SqlDialect(TransactionVerbs verbs = {}, QChar quote = u'"')
        : m_verbs(std::move(verbs)), m_quote(quote)
    {
    }
    virtual ~SqlDialect() = default;
    SqlDialect(const SqlDialect &) = delete;
    SqlDialect &operator=(const SqlDialect &) = delete;

    /// Statements that put a new session into the state the program relies on. version: what the server calls
    /// itself. zone: the IANA name of the local time zone; offset: its present offset, "+08:00".
    struct Session {
        QString version;
        QString zone;
        QString offset;
        DatabaseLimits limits;
    };
    /// Each is tried; a refusal is no fault (older servers know fewer settings).
    [[nodiscard]] virtual QStringList sessionSetup(const Session &) const { return {}; }

    /// Those that limit the wait for a row or table that somebody holds; none where nothing is held but the whole.
    [[nodiscard]] virtual QStringList lockLimit(std::chrono::milliseconds) const { return {}; }

    /// Run after these: a fault other than a refusal tells that the session cannot write, as on a server that
    /// has become a standby. Without it the connection would be opened and found useless in every tick.
    [[nodiscard]] virtual QStringList writingProbe() const { return {}; }

    /// Runs the set-up and the probe. run: executes one statement. Throws what it throws, refusals apart.
    void setUpSession(const QString &version, const DatabaseLimits &limits,
                      const std::function<void(const QString &sql)> &run) const;

    /// The query for the number of the server's own session; "" where nobody lends sessions by the transaction.
    [[nodiscard]] virtual QString sessionNumberQuery() const { return {}; }

    /// The query that puts a mark, its parameter, on the session, and the statement that ends the session with that
    /// mark; "" where a session cannot be told from others, or ended without further rights.
    [[nodiscard]] virtual QString sessionMarking() const { return {}; }
    [[nodiscard]] virtual QString endOfMarkedSession() const { return {}; }
    /// The statement that has the server end the session after less than a minute of silence; "" where it notices
    /// sooner, by the keepalives of the line, that its client has gone.
    [[nodiscard]] virtual QString silenceLimit() const { return {}; }

    [[nodiscard]] const TransactionVerbs &verbs() const { return m_verbs; }

    /// The insert as a statement that answers with the new identity as its one row; the insert itself when
    /// identityQuery() tells it afterwards, or nothing does.
    [[nodiscard]] virtual QString identityInsert(const QString &insert, const QString &column) const;
    [[nodiscard]] virtual QString identityQuery() const { return {}; }
    /// The query that answers 1 where an INSERT of this server can end with "returning" all the same: some drivers
    /// do not give its answer. "" where that is never so.
    [[nodiscard]] virtual QString returningInsertProbe() const { return {}; }
    /// The UPDATE that changes only the first row, in the database's own order, of several that meet the
    /// condition. Parameters of the assignments come before those of the condition.
    [[nodiscard]] virtual QString updateOfFirstRow(const QString &table, const QString &assignments,
                                                   const QString &condition) const;

    /// The query for the number of open transactions; "" where a fault leaves the transaction standing
    /// until its end, or the rollback to a savepoint fails after one that does not.
    [[nodiscard]] virtual QString openTransactionsQuery() const { return {}; }
    /// The query for the row count of the statement before; "" where there is none.
    [[nodiscard]] virtual QString rowCountQuery() const { return {}; }
    /// The statement that makes identityQuery() answer 0 after an INSERT that was given no number; "" where it
    /// does so by itself.
    [[nodiscard]] virtual QString identityReset() const { return {}; }

    /// The query for the columns of the tables with a name, letter case apart (its parameter, in lower case):
    /// table, column, longest text in characters (null: no limit), character set (null: the database's). ""
    /// where the server itself does not care about letter case.
    [[nodiscard]] virtual QString columnsQuery() const { return {}; }
    [[nodiscard]] QString quotedName(const QString &name) const;
    /// The query for the octets that a statement with its values may have; "" where there is no such limit.
    [[nodiscard]] virtual QString payloadLimitQuery() const { return {}; }
    /// The query that answers 1 when this session cuts a value that does not fit, with only a warning; ""
    /// where the server always refuses.
    [[nodiscard]] virtual QString leniencyQuery() const { return {}; }
    /// Then: the query for the last statement's warnings (level, number, text), and whether one of this
    /// number tells that a value was cut.
    [[nodiscard]] virtual QString warningsQuery() const { return {}; }
    [[nodiscard]] virtual bool tellsCutValue(int /*number*/) const { return false; }
    /// What a text's NUL becomes. A null QChar where NUL can be stored.
    [[nodiscard]] virtual QChar replacementForNul() const { return {}; }

    /// The query for this session's cipher, in the second column, empty when the line is in clear; "" where there
    /// is none.
    [[nodiscard]] virtual QString encryptionQuery() const { return {}; }
    /// True when the system's ODBC driver is to give and take texts as UTF-8, not as UTF-16.
    [[nodiscard]] virtual bool odbcSpeaksUtf8() const { return false; }

    /// Session locks by name; see NamedLock. Digests are 32 hexadecimal digits.
    struct BoundStatement {
        QString sql;
        QVariantList values;
    };
    [[nodiscard]] bool hasNamedLocks() const { return !releaseNamedLock({}).sql.isEmpty(); }
    /// The query that takes a lock, which the session does not hold yet, without waiting, and answers with a row of two
    /// columns: the value read (null without a reading) and 1 when the lock is held. The reading sees what was committed
    /// before the lock was taken; without a row of it the lock may not be held.
    [[nodiscard]] virtual BoundStatement takeNamedLock(const QByteArray & /*name*/,
                                                       const LockedReading * /*reading*/) const
    {
        return {};
    }
    [[nodiscard]] virtual BoundStatement releaseNamedLock(const QByteArray & /*name*/) const { return {}; }
    /// A lock that several sessions share or one has alone: the query that takes it without waiting and answers 1 when
    /// it is held, and the one that lets it go.
    struct SharedLock {
        BoundStatement take;
        BoundStatement release;
    };
    [[nodiscard]] virtual SharedLock sharedLock(const QByteArray & /*name*/, bool /*isShared*/) const
    {
        return {};
    }

    /// The query for the number of servers that take this database's writes, each with locks of its own; "" where it is
    /// one. version: what the server calls itself.
    [[nodiscard]] virtual QString clusterSizeQuery(const QString & /*version*/) const { return {}; }

    /// A table in a query that passes over the rows which somebody holds, where a reader would wait for them.
    [[nodiscard]] virtual QString pastHeldRows(const QString &table) const { return table; }

    [[nodiscard]] virtual DatabaseFault::Kind kindOf(const SqlErrorCode &code) const;
    /// Of a refusal, as far as the code tells it.
    [[nodiscard]] virtual DatabaseFault::Cause causeOf(const SqlErrorCode & /*code*/) const
    {
        return DatabaseFault::Cause::Other;
    }
    /// True when after any refusal the server carries nothing out but the transaction's rollback.
    [[nodiscard]] virtual bool faultEndsTransaction() const { return false; }

    /// The query for the names of the tables without transactions; "" where there are none.
    [[nodiscard]] virtual QString tablesWithoutTransactionsQuery() const { return {}; }
    /// The query for the one encoding of the whole database; "" where columns have their own, or any holds all.
    [[nodiscard]] virtual QString encodingQuery() const { return {}; }
    /// The query for a text, its parameter, as a column's character set would hold it.
    [[nodiscard]] virtual QString replacedTextQuery(const QString & /*characterSet*/) const { return {}; }

protected:
    [[nodiscard]] static bool isOneOf(int number, std::initializer_list<int> numbers)
    {
        return std::find(numbers.begin(), numbers.end(), number) != numbers.end();
    }
    [[nodiscard]] static QString returningInsert(const QString &insert, const QString &column);

private:
    const TransactionVerbs m_verbs;
    const QChar m_quote;
};
