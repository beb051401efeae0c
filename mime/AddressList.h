#pragma once

#include <QList>
#include <QString>

struct Mailbox {
    QString name;    ///< display name; empty when none is given
    QString address; ///< never empty
};

/// The mailboxes of an address field (RFC 5322, 3.4), members of groups included, group names left out. raw:
/// what follows the colon. More forgiving than that: ";" separates too, a name may precede a bare
/// address, a comma inside an unquoted name belongs to it ("Doe, John <j@example.com>"), one encoded word may
/// hold name and address, and a word without "@" is an address. Costs time and memory in proportion to the octets.
[[nodiscard]] QList<Mailbox> parseMailboxes(QByteArrayView raw, QByteArrayView rawCharset = {});
