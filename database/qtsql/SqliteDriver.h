#pragma once

#include "database/driver/Driver.h"
#include "database/qtsql/QtSqlLine.h"

#include <QByteArray>
#include <QElapsedTimer>

/// The embedded database. The file must exist (an office's tables are never created here) and keeps its
/// journal mode. Another program's lock is waited for up to busyLimitMilliseconds, and others are left room:
/// no reader is kept out for as long as a second, however much is written.
class SqliteDriver final : public Driver, private QtSqlLine
{
public:
    static constexpr int busyLimitMilliseconds = 3000;

    explicit SqliteDriver(QString fileName);

    void open() override;
    /// False when the file was removed or replaced: SQLite itself would go on with the vanished one.
    [[nodiscard]] bool isUsable() const override;
    /// BEGIN IMMEDIATE: a transaction that reads and then writes would otherwise be refused, without waiting,
    /// when another program has committed in between.
    void begin() override;
    void commit() override;
    void rollback() noexcept override;
    void setSavepoint(const QString &name) override;
    void releaseSavepoint(const QString &name) override;
    void rollbackToSavepoint(const QString &name) override;
    void spareMemory() override;
    /// A statement that asks for all columns is given their names: Qt's driver crashes on a result that has
    /// more columns than when it was prepared, and a table may be altered between the two.
    [[nodiscard]] std::unique_ptr<Statement> prepare(const QString &sql) override;
    /// RETURNING: the number of the last row would be that of another table for a row that a trigger stored.
    [[nodiscard]] QString identityInsert(const QString &insert, const QString &identityColumn) const override;
    [[nodiscard]] QString updateOfFirstRow(const QString &table, const QString &assignments,
                                           const QString &condition) const override;

private:
    [[nodiscard]] DatabaseFault fault(const QString &what, const QSqlError &error) const override;
    void hasWritten(qint64 nanoseconds) override;
    [[nodiscard]] QByteArray fileIdentity() const;
    [[nodiscard]] QString withColumnNames(const QString &sql);

    void noteCommit(qint64 began, qint64 nanoseconds);

    QString m_fileName;
    QByteArray m_openedFile; // identity of the file at open
    // Work as the others see it, in nanoseconds of this clock.
    QElapsedTimer m_clock;
    bool m_isInTransaction = false;
    qint64 m_transactionBegan = 0;
    qint64 m_lastCommit = 0;
    qint64 m_workBegan = 0; // since then commits have followed each other
    qint64 m_keptOut = 0;   // what they took
};
