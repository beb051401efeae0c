#pragma once

#include <QByteArrayView>
#include <QString>

/// Octets of a mail as text. label: the charset the mail names,
/// in any spelling; may be empty, unknown or wrong.
///
/// What mails really hold decides, in this order:
/// 1. octets that are UTF-8 beyond doubt (strictly valid, with characters of three or more octets) are UTF-8;
/// 2. gb2312, gbk and their aliases are GB18030, which contains them; hz-gb-2312, UTF-7, UTF-16 and ISO-2022
///    are taken at their word; the charsets of Taiwan, Japan and Korea include the extensions of their code
///    pages and of Hong Kong;
/// 3. us-ascii and iso-8859-1 are windows-1252, unless all that is not ASCII comes in GB2312 pairs (a habit
///    of Chinese web programs);
/// 4. no label: GB18030 if strictly GB2312; then, and under an unknown one: UTF-8 if valid or merely damaged, else
///    GB18030;
/// 5. a label that a good share of the octets contradicts: whichever of it, UTF-8 and GB18030
///    leaves fewer unexplained.
/// An octet that cannot be decoded becomes U+FFFD, and so does NUL, which databases do not take in text.
[[nodiscard]] QString decodeText(QByteArrayView octets, QByteArrayView label);

/// The label for octets that a header holds without one; header: all of its octets. That of the text, unless it is one
/// that most programs write whatever they send; else GB18030 if the octets are strictly GB2312 and no UTF-8 beyond doubt.
/// A few characters can be valid in both: then what Western, Greek and Russian letters are in UTF-8 is those.
[[nodiscard]] QByteArray charsetOfHeader(QByteArrayView header, QByteArrayView textLabel);
