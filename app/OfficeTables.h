#pragma once

#include <QStringList>
#include <vector>

/// One table of the OA system as far as the server uses it.
struct OfficeTable {
    QString name;
    QStringList columns;
};

/// Every table and column that the server reads or writes.
[[nodiscard]] std::vector<OfficeTable> officeTables();
