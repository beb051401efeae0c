#pragma once

#include <QByteArray>

/// How the octets of a part were made fit for transport (RFC 2045, 6).
enum class TransferEncoding { None, Base64, QuotedPrintable, Uuencode };

/// field: the value of Content-Transfer-Encoding. An unknown one is None: the octets stay as they are.
[[nodiscard]] TransferEncoding transferEncodingOf(QByteArrayView field);

/// The encoding undone. Never fails: what a damaged encoding still gives is given, and what is no base64, although it is
/// called so, stays as it is. isText: so does a footer that somebody put behind it.
[[nodiscard]] QByteArray decodeTransfer(QByteArrayView octets, TransferEncoding encoding, bool isText);
