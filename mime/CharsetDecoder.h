#pragma once

#include <QByteArrayView>
#include <QString>

/// Octets of a mail as text. label: the charset the mail names, in any spelling; may be empty, unknown or
/// wrong.
///
/// What mails really hold decides, in this order:
/// 1. octets that are UTF-8 beyond doubt (strictly valid, with characters of three or more octets) are UTF-8;
/// 2. gb2312, gbk and their aliases are GB18030, which contains them; hz-gb-2312, UTF-7, UTF-16 and ISO-2022
///    are taken at their word; big5, shift_jis and euc-kr include the extensions of their code pages;
/// 3. us-ascii and iso-8859-1 are windows-1252, unless all that is not ASCII comes in GB2312 pairs (a habit
/// of
///    Chinese web programs);
/// 4. no label, or an unknown one: UTF-8 if valid or merely damaged, else GB18030;
/// 5. a label the octets contradict: whichever of it and GB18030 leaves fewer octets unexplained.
/// An octet that cannot be decoded becomes U+FFFD, and so does NUL, which databases do not take in text.
[[nodiscard]] QString decodeText(QByteArrayView octets, QByteArrayView label);
