#pragma once

#include "database/driver/Driver.h"

#include <QByteArray>
#include <chrono>
#include <sqlite3.h>

/// The embedded database. The file must exist (an office's tables are never created here) and keeps its
/// journal mode. Another program's lock is waited for up to busyLimit, and others are left room: no reader is
/// kept out for as long as a second, however much is written. All waits are SQLite's own: its virtual file
/// system sleeps.
class SqliteDriver final : public Driver
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
    [[nodiscard]] std::unique_ptr<Statement> prepare(const QString &sql) override;

    /// What the library's last error means. what: the statement.
    [[nodiscard]] DatabaseFault fault(const QString &what) const;
    /// A statement that writes has been executed, and took this long.
    void hasWritten(std::chrono::nanoseconds duration);

protected:
    void runPlain(const QString &sql) override;

private:
    using SteadyClock = std::chrono::steady_clock;

    struct Close {
        void operator()(sqlite3 *database) const { sqlite3_close_v2(database); }
    };

    [[nodiscard]] QByteArray fileIdentity() const;

    void noteCommit(SteadyClock::time_point began, std::chrono::nanoseconds duration);

    std::unique_ptr<SqlDialect> m_dialect;
    QString m_fileName;
    std::unique_ptr<sqlite3, Close> m_database;
    QByteArray m_openedFile; // identity of the file at open
    // Work as the others see it.
    SteadyClock::time_point m_transactionBegan;
    SteadyClock::time_point m_lastCommit;
    SteadyClock::time_point m_workBegan;     // since then commits have followed each other
    std::chrono::nanoseconds m_keptOut = {}; // what they took
};
