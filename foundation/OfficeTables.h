#pragma once

#include <QStringList>

/// One table of the OA system as far as the server uses it, and what the passes do to it.
struct OfficeTable {
    enum Use {
        DeletedFrom = 1,
        NeedsIdentity = 2, ///< of a row that is added
        ForMail = 4        ///< rows are added only where mailboxes are collected
    };

    QString name = {};
    QStringList columns = {}; ///< every one that is read or written
    QString key = {};         ///< the identity of a row
    int uses = 0;
    QStringList compared = {};        ///< texts that rows are looked up by
    QStringList comparedForMail = {}; ///< the same where mailboxes are collected
    QStringList updated = {};
    QStringList inserted = {}; ///< columns of a row that the passes add

    [[nodiscard]] bool has(Use use) const { return (uses & use) != 0; }
};

/// Every table that the server reads or writes.
[[nodiscard]] QList<OfficeTable> officeTables();
