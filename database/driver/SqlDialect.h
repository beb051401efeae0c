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

/// What a database system says in its own words, and what is so on it. A text is "" where the system needs or has none.
struct SystemTraits {
    // A transaction. %1: a savepoint's name.
    QString begin = QStringLiteral("BEGIN");
    QString commit = QStringLiteral("COMMIT");
    QString rollback = QStringLiteral("ROLLBACK");
    QString savepoint = QStringLiteral("SAVEPOINT %1");
    QString release = QStringLiteral("RELEASE SAVEPOINT %1");
    QString rollbackTo = QStringLiteral("ROLLBACK TO SAVEPOINT %1");

    /// What stands around a name; null where nothing may.
    QChar quote = u'"';
    /// What a text's NUL becomes. A null QChar where NUL can be stored.
    QChar replacementForNul = {};
    /// True when the system's ODBC driver is to give and take texts as UTF-8, not as UTF-16.
    bool odbcSpeaksUtf8 = false;
    /// True when after any refusal the server carries nothing out but the transaction's rollback.
    bool faultEndsTransaction = false;

    /// Run when a session has been set up: a fault other than a refusal tells that it cannot write, as on a server that
    /// has become a standby. Without it the connection would be opened and found useless in every tick.
    QStringList writingProbe = {};
    /// The number of the server's own session, where somebody may lend sessions by the transaction.
    QString sessionNumberQuery = {};
    /// The query that puts a mark, its parameter, on the session, and the statement that ends the session with that
    /// mark, where a session can be told from others, and ended without further rights.
    QString sessionMarking = {};
    QString endOfMarkedSession = {};
    /// The statement that has the server end the session after less than a minute of silence; none where it notices
    /// sooner, by the keepalives of the line, that its client has gone.
    QString silenceLimit = {};

    /// INSERT %1 as a statement that answers with the new identity, in column %2, as its one row.
    QString identityInsert = {};
    /// Otherwise: what the identity of the row just inserted is; none where nothing tells it.
    QString identityQuery = {};
    /// The statement that makes identityQuery answer 0 after an INSERT that was given no number.
    QString identityReset = {};
    /// Answers 1 where an INSERT of this server can end with "returning" all the same: some drivers do not give its
    /// answer.
    QString returningInsertProbe = {};
    /// The number of open transactions; none where a fault leaves the transaction standing until its end, or the
    /// rollback to a savepoint fails after one that does not.
    QString openTransactionsQuery = {};
    /// The row count of the statement before.
    QString rowCountQuery = {};
    /// The UPDATE of table %1 with assignments %2 that changes only the first row, in the database's own order, of those
    /// that meet condition %3.
    QString updateOfFirstRow = QStringLiteral("update %1 set %2 where %3");
    /// Behind a table in a query: passes over the rows which somebody holds, where a reader would wait for them.
    QString pastHeldRows = {};

    /// The columns of the tables with a name, letter case apart (its parameter, in lower case): table, column, longest
    /// text in characters (null: no limit), character set (null: the database's). None where the server itself does not
    /// care about letter case.
    QString columnsQuery = {};
    /// The octets that a statement with its values may have.
    QString payloadLimitQuery = {};
    /// Answers 1 when this session cuts a value that does not fit, with only a warning; then the query for the last
    /// statement's warnings (level, number, text).
    QString leniencyQuery = {};
    QString warningsQuery = {};
    /// The numbers of the warnings that tell that a value was cut.
    QList<int> cutValueWarnings = {};
    /// This session's cipher, in the second column, empty when the line is in clear.
    QString encryptionQuery = {};
    /// The names of the tables without transactions.
    QString tablesWithoutTransactionsQuery = {};
    /// The one encoding of the whole database; none where columns have their own, or any holds all.
    QString encodingQuery = {};
    /// A text, its parameter, as a column's character set %1 would hold it.
    QString replacedTextQuery = {};
};

/// What one database system needs said its own way in SQL, whichever driver reaches it. As it stands here: a system we
/// know nothing of but that it speaks SQL, and which tells no identity.
class SqlDialect
{
public:
    explicit SqlDialect(SystemTraits traits = {}) : m_traits(std::move(traits)) {}
    virtual ~SqlDialect() = default;
    SqlDialect(const SqlDialect &) = delete;
    SqlDialect &operator=(const SqlDialect &) = delete;

    [[nodiscard]] const SystemTraits &traits() const { return m_traits; }

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

    /// Runs the set-up and the probe. run: executes one statement. Throws what it throws, refusals apart.
    void setUpSession(const QString &version, const DatabaseLimits &limits,
                      const std::function<void(const QString &sql)> &run) const;

    [[nodiscard]] QString quotedName(const QString &name) const;

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

    [[nodiscard]] virtual DatabaseFault::Kind kindOf(const SqlErrorCode &code) const;
    /// Of a refusal, as far as the code tells it.
    [[nodiscard]] virtual DatabaseFault::Cause causeOf(const SqlErrorCode & /*code*/) const
    {
        return DatabaseFault::Cause::Other;
    }

protected:
    [[nodiscard]] static bool isOneOf(int number, std::initializer_list<int> numbers)
    {
        return std::find(numbers.begin(), numbers.end(), number) != numbers.end();
    }

private:
    const SystemTraits m_traits;
};
