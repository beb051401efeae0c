#pragma once

#include "database/driver/Driver.h"
#include "database/qtsql/QtSqlLine.h"

#include <QByteArray>

/// The embedded database. The file must exist (an office's tables are never created here) and keeps its
/// journal mode. Another program's lock is waited for up to busyLimit, and others are left room: no reader is
/// kept out for as long as a second, however much is written. All waits are SQLite's own: its virtual file
/// system sleeps.
class SqliteDriver final : public Driver, private QtSqlLine
{
public:
    static constexpr std::chrono::milliseconds busyLimit = DatabaseLimits::lock;

    explicit SqliteDriver(QString fileName);

    void open() override;
    /// False when the file was removed or replaced: SQLite itself would go on with the vanished one.
    [[nodiscard]] bool isUsable() const override;
    [[nodiscard]] const SqlDialect &dialect() const override { return *m_dialect; }
    void begin() override;
    void commit() override;
    void spareMemory() override;
    /// A statement that asks for all columns is given their names: Qt's driver crashes on a result that has
    /// more columns than when it was prepared, and a table may be altered between the two.
    [[nodiscard]] std::unique_ptr<Statement> prepare(const QString &sql) override;

protected:
    void runPlain(const QString &sql) override { exec(sql); }

private:
    using SteadyClock = std::chrono::steady_clock;

    [[nodiscard]] DatabaseFault fault(const QString &what, const QSqlError &error) const override;
    void hasWritten(std::chrono::nanoseconds duration) override;
    [[nodiscard]] QByteArray fileIdentity() const;
    [[nodiscard]] QString withColumnNames(const QString &sql);

    void noteCommit(SteadyClock::time_point began, std::chrono::nanoseconds duration);

    std::unique_ptr<SqlDialect> m_dialect;
    QString m_fileName;
    QByteArray m_openedFile; // identity of the file at open
    // Work as the others see it.
    SteadyClock::time_point m_transactionBegan;
    SteadyClock::time_point m_lastCommit;
    SteadyClock::time_point m_workBegan;     // since then commits have followed each other
    std::chrono::nanoseconds m_keptOut = {}; // what they took
};
