#pragma once

#include "database/driver/BoundValue.h"
#include "database/driver/Driver.h"
#include "database/odbc/OdbcHandle.h"

#include <functional>
#include <optional>
#include <vector>

class OdbcDriver;

/// A statement on the ODBC C API, prepared once. It takes values as boundValue() makes them. Texts go out as UTF-16
/// or UTF-8 with lengths of our own and come back whole, whatever their length.
class OdbcStatement final : public Statement
{
public:
    /// spelled: the statement in the server's own spelling. Throws DatabaseFault when the driver refuses it.
    OdbcStatement(const OdbcDriver &driver, const QString &sql, const QString &spelled);
    /// One that is executed once, without values, and not prepared.
    OdbcStatement(const OdbcDriver &driver, QString sql);
    ~OdbcStatement() override;

    void execute(const QVariantList &values) override;
    /// call: an ODBC function that carries something out by itself.
    void executeBy(const std::function<SQLRETURN(SQLHSTMT)> &call) { finishExecution(call(m_handle.get())); }
    [[nodiscard]] bool next() override;
    [[nodiscard]] QVariant value(int column) const override { return m_row[static_cast<size_t>(column)]; }
    [[nodiscard]] QStringList columnNames() const override { return m_columnNames; }
    [[nodiscard]] qint64 affectedRows() const override { return m_affectedRows; }
    void finish() noexcept override;

private:
    enum class Kind { None, Number, Text, LongText, Bytes, LongBytes };
    /// Bound by its address, once for each kind of value that it takes: some drivers prepare the statement anew
    /// after each binding, and some servers keep a plan for each size.
    struct Parameter {
        Kind kind = Kind::None;
        SQLBIGINT number = 0;
        QByteArray octets; // as long as the longest value of its kind
        SQLLEN length = 0;
    };

    /// How a kind of value goes to the driver.
    struct Form {
        SQLSMALLINT cType;
        SQLSMALLINT sqlType;
        SQLULEN columnSize;
    };

    void set(SQLUSMALLINT position, const QVariant &value, Parameter &parameter);
    void setOctets(SQLUSMALLINT position, const QByteArray &octets, bool isText, Parameter &parameter);
    void bind(SQLUSMALLINT position, Kind kind, Parameter &parameter);
    [[nodiscard]] Form formOf(Kind kind, SQLULEN octets) const;
    void findResult();
    void describeColumns(SQLSMALLINT count);
    [[nodiscard]] QVariant fetched(SQLUSMALLINT column, ColumnKind kind);
    /// The whole value, whatever its length, in pieces that end with
    /// endOctets of no value; nothing for a null.
    [[nodiscard]] std::optional<QByteArray> fetchedOctets(SQLUSMALLINT column, SQLSMALLINT cType,
                                                          size_t endOctets);
    void finishExecution(SQLRETURN result);
    void check(SQLRETURN result);

    const OdbcDriver &m_driver;
    const SqlDialect &m_dialect;
    QString m_sql; // as the program wrote it
    OdbcHandle m_handle;
    std::vector<Parameter> m_parameters; // as many as the statement has, never moved
    QStringList m_columnNames;
    std::vector<ColumnKind> m_columnKinds;
    std::vector<QVariant> m_row;
    qint64 m_affectedRows = 0;
    bool m_isOpen = false; // carried out, and not finished
    bool m_hasResult = false;
};
