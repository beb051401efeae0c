#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

/// The unique ids in the answer to UIDL (RFC 1939, 7). Element m - 1 belongs to message m; null where the
/// server gave none. An id stands as it came, blanks inside included; an octet that is not printable ASCII, which
/// no id should hold, stands as "%" with two capital hexadecimal digits ("%E7%BC%96"), so that every database and
/// every charset keeps ids apart octet for octet. Of two lines for one message the first counts. Lines for numbers
/// outside 1 to most are ignored.
[[nodiscard]] QList<QString> parseUidl(QByteArrayView content, int most);

/// The sizes in octets in the answer to LIST (RFC 1939, 5).
/// Element m - 1 belongs to message m; -1 where unknown.
[[nodiscard]] QList<qint64> parseList(QByteArrayView content, int most);
