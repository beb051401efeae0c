#pragma once

#include "database/driver/DeadlineGuard.h"
#include "database/driver/Driver.h"
#include "database/driver/NameResolver.h"
#include "database/driver/SqlDialect.h"
#include "database/driver/StorableTexts.h"

#include <optional>
#include <unordered_map>

/// What the sessions of all database servers have in common, whichever way leads to the server: time limits, a
/// session set up to our wants, names in the server's own spelling, values that it can hold, transactions and
/// identities in its dialect.
class ServerDriver : public Driver
{
public:
    ServerDriver(std::unique_ptr<SqlDialect> dialect, const DatabaseLimits &limits);
    ~ServerDriver() override;

    void open() final;
    /// False when the other end has closed the line. What else becomes of it is noticed by the statement that fails.
    [[nodiscard]] bool isUsable() const final { return !m_guard.isClosed(); }
    [[nodiscard]] bool hasTimedOut() const final { return m_guard.hasFired(); }
    void ping() final;
    [[nodiscard]] QString sessionMark() const final { return m_mark; }
    void endSession(const QString &mark) noexcept final;
    void limitSilence() final;
    [[nodiscard]] std::unique_ptr<Statement> prepare(const QString &sql) final;
    void closing() noexcept override;
    [[nodiscard]] QStringList takeReplacedTables() final { return m_texts.takeReplacedTables(); }
    [[nodiscard]] bool hasTransactionEnded() final;
    [[nodiscard]] qint64 lastRowCount() final;
    [[nodiscard]] int clusterSize() final;
    [[nodiscard]] const SqlDialect &dialect() const final { return *m_dialect; }

    /// What an error means, for the statements of this driver. what: the statement. words: the server's, or the
    /// client library's.
    [[nodiscard]] DatabaseFault fault(const QString &what, const SqlErrorCode &code,
                                      const QString &words) const;
    [[nodiscard]] bool isClosing() const { return m_closing.has_value(); }

protected:
    void setDialect(std::unique_ptr<SqlDialect> dialect) { m_dialect = std::move(dialect); }
    [[nodiscard]] const DatabaseLimits &limits() const { return m_limits; }
    [[nodiscard]] DeadlineGuard &guard() { return m_guard; }
    /// The time limit of a statement with values of this size.
    [[nodiscard]] DeadlineGuard::Watch watch(qint64 payloadOctets);

    /// Reaches the server and hands its sockets to the guard. Throws DatabaseFault (Lost).
    virtual void connect() = 0;
    /// The server's system and version, in its own words.
    [[nodiscard]] virtual QString serverVersion()
    {
        return plainValue(QStringLiteral("select version()")).toString();
    }
    /// Throws DatabaseFault when the session, set up as far as the server let us, is not fit for use.
    virtual void checkSession() {}
    /// The same target once more, not yet connected; none where nobody lends sessions.
    [[nodiscard]] virtual std::unique_ptr<ServerDriver> another() const { return nullptr; }
    /// False when the session of this number is certainly not lent by a pool.
    [[nodiscard]] virtual bool mayBePooled(int /*sessionNumber*/) const { return true; }
    /// A statement in the server's spelling that takes values as boundValue() makes them. sql: as the program
    /// wrote it, for a fault's text.
    [[nodiscard]] virtual std::unique_ptr<Statement> prepareLine(const QString &sql,
                                                                 const QString &spelled) = 0;
    /// The rows of a statement of ours without values, none for one that is no query, in a way that leaves the warnings
    /// of the statement before, and with no time limit.
    virtual QList<QVariantList> plainRows(const QString &sql) = 0;
    /// What a connection that cannot be made ends in. words: the client library's.
    [[nodiscard]] static DatabaseFault unreachable(const QString &server, const QString &words);
    /// What a text's NUL becomes; a null QChar where NUL can be stored.
    [[nodiscard]] virtual QChar replacementForNul() const { return m_dialect->traits().replacementForNul; }
    void runPlain(const QString &sql) final;
    /// The one value of a query that is not prepared; null for none.
    [[nodiscard]] QVariant plainValue(const QString &sql);
    /// All columns of the tables with this name, letter case apart; none where the server does not care about it.
    [[nodiscard]] virtual QList<NameResolver::Column> columnsOf(const QString &lowerCaseTable);
    /// For the destructor of a driver whose statements need it.
    void forgetQuestions() { m_questions.clear(); }
    /// The one value that a question of our own is answered with; null for none.
    [[nodiscard]] QVariant answer(const QString &question, const QVariantList &values = {});

private:
    class ServerStatement;

    void refusePoolOfTransactions();
    void markSession();
    [[nodiscard]] QVariant answerOfAnotherSession(const QString &query) const;

    std::unique_ptr<SqlDialect> m_dialect;
    DatabaseLimits m_limits;
    QString m_mark; // on the session
    bool m_isSilenceLimited = false;
    DeadlineGuard m_guard;
    std::optional<DeadlineGuard::Watch> m_closing;
    NameResolver m_names;
    StorableTexts m_texts;
    std::unordered_map<QString, std::unique_ptr<Statement>> m_questions; // of our own, by text
    bool m_isLenient = false;         // cuts a value that does not fit, with no more than a warning
    std::optional<int> m_clusterSize; // once asked for
    qint64 m_maximumPayload = 0;      // 0: no limit known
};
