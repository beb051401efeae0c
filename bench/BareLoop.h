#pragma once

#include "tests/support/Office.h"

/// The statements of the expander and the archiver straight on a route's driver (QtSql or the ODBC C API),
/// each prepared once: what the layers of the program are measured against.
class BareLoop
{
public:
    virtual ~BareLoop() = default;

    /// One send-list row from the waiting row, then for each name a lookup and
    /// a queue row a piece, in one transaction.
    void expand(const QStringList &names, const QStringList &pieces);
    /// Copy and delete of each finished queue row, a transaction each.
    void archive();

protected:
    enum Prepared { Lookup, InsertQueue, InsertResult, DeleteQueue, Count };
    static QString text(Prepared statement);

    virtual void plain(const QString &sql) = 0;
    virtual void execute(Prepared statement, const QVariantList &values) = 0;
    virtual QString lookUp(const QString &name) = 0;
    virtual QList<QVariantList> rows(const QString &sql) = 0;
};

[[nodiscard]] std::unique_ptr<BareLoop> bareLoop(const Office &office);
