#pragma once

#include "database/Driver.h"
#include "database/OdbcHandle.h"

#include <optional>
#include <vector>

class OdbcDriver;

/// A statement on the ODBC C API, prepared once. Texts go out as UTF-16 with lengths of our own and come back
/// whole, whatever their length.
class OdbcStatement final : public Statement
{
public:
    /// Throws DatabaseFault when the driver refuses the statement.
    /// spelled: the statement in the server's own spelling.
    OdbcStatement(OdbcDriver &driver, const QString &sql, const QString &spelled);
    ~OdbcStatement() override;

    void execute(const QVariantList &values) override;
    [[nodiscard]] bool next() override;
    [[nodiscard]] QVariant value(int column) const override { return m_row[static_cast<size_t>(column)]; }
    [[nodiscard]] QStringList columnNames() const override { return m_columnNames; }
    [[nodiscard]] qint64 affectedRows() const override { return m_affectedRows; }
    void finish() noexcept override;

private:
    struct Parameter {
        SQLBIGINT number = 0;
        double fraction = 0;
        SQLLEN length = 0;
    };

    void bind(SQLUSMALLINT position, const QVariant &value, Parameter &parameter);
    void executeInTime(qint64 payloadOctets);
    void findResult();
    void describeColumns(SQLSMALLINT count);
    [[nodiscard]] QVariant fetched(SQLUSMALLINT column, SQLSMALLINT type);
    [[nodiscard]] QVariant fetchedText(SQLUSMALLINT column);
    [[nodiscard]] QVariant fetchedBytes(SQLUSMALLINT column);
    /// The whole value, whatever its length, in pieces that end with
    /// endOctets of no value; nothing for a null.
    [[nodiscard]] std::optional<QByteArray> fetchedOctets(SQLUSMALLINT column, SQLSMALLINT cType,
                                                          size_t endOctets);
    void check(SQLRETURN result);

    OdbcDriver &m_driver;
    QString m_sql; // as the program wrote it
    OdbcHandle m_handle;
    QVariantList m_values; // bound by address until the next execution
    std::vector<Parameter> m_parameters;
    QStringList m_columnNames;
    std::vector<SQLSMALLINT> m_columnTypes;
    std::vector<QVariant> m_row;
    qint64 m_affectedRows = 0;
    bool m_hasResult = false;
};
