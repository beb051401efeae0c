#pragma once

#include <QByteArray>
#include <QString>

/// A header value as one line of text: folding undone (RFC 5322, 2.2.3), encoded words decoded (RFC 2047),
/// other octets decoded as rawCharset, without one as decodeText() does without a label. raw: what follows the colon, line end included or not;
/// one blank after the colon belongs to the header, all others are kept. Words of one charset that are side
/// by side are joined before they are decoded, because mail programs cut them inside characters. Control
/// characters become blanks.
[[nodiscard]] QString decodeHeaderText(QByteArrayView raw, QByteArrayView rawCharset = {});

/// The same value for a parser of structured headers: encoded words of whatever charset become UTF-8 words,
/// other octets outside ASCII become UTF-8. So the second octet of a GBK character is never taken for a
/// quote, a comma or a backslash.
[[nodiscard]] QByteArray normaliseHeader(QByteArrayView raw, QByteArrayView rawCharset = {});
