#pragma once

#include <QByteArray>
#include <QString>
#include <limits>

struct DecodedText {
    static constexpr qsizetype undecodable = std::numeric_limits<qsizetype>::max();

    QString text;
    qsizetype errors = 0; ///< octets that became U+FFFD; undecodable when the charset is not known
};

/// Octets as text by the system's converter for a charset, which must be one of canonicalCharset() or a code
/// page: not all of the converters are fit for the octets of strangers.
[[nodiscard]] DecodedText decodeIconv(QByteArrayView octets, const QByteArray &charset);
