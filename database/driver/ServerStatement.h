#pragma once

#include "database/driver/ServerDriver.h"

/// A statement to a database server: its values in a form that the server takes, within its limits of time and
/// size, and its refusals explained.
class ServerStatement final : public Statement
{
public:
    /// line: the prepared statement that sends what it is given.
    ServerStatement(ServerDriver &driver, QString sql, std::unique_ptr<Statement> line)
        : m_driver(driver), m_sql(std::move(sql)), m_line(std::move(line))
    {
    }

    void execute(const QVariantList &values) override;
    [[nodiscard]] bool next() override;
    [[nodiscard]] QVariant value(int column) const override { return m_line->value(column); }
    [[nodiscard]] QStringList columnNames() const override { return m_line->columnNames(); }
    [[nodiscard]] qint64 affectedRows() const override { return m_findsNothing ? 0 : m_line->affectedRows(); }
    void finish() noexcept override { m_line->finish(); }

    [[nodiscard]] const Statement &line() const { return *m_line; }

private:
    void executeStorable(const QVariantList &values);
    void executeInTime(const QVariantList &bound, qint64 payload);

    ServerDriver &m_driver;
    QString m_sql; // as the program wrote it
    std::unique_ptr<Statement> m_line;
    bool m_findsNothing = false; // a value is compared that the database cannot hold
};
