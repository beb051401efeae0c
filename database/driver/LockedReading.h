#pragma once

#include <QString>
#include <QVariantList>

/// One value of one row, read as it is in the database now. The texts are SQL.
struct LockedReading {
    QString expression;
    QString table;
    QString condition; ///< meets one row
    QVariantList values;
};
