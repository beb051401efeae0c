#pragma once

#include <QByteArray>

/// Charsets by the names under which the decoders know them; code pages stand for the pure standards.
namespace CharsetNames
{
inline constexpr auto gb18030 = "gb18030";
inline constexpr auto windows1252 = "windows-1252";
inline constexpr auto utf8 = "utf-8";
inline constexpr auto hz = "hz";
inline constexpr auto big5 = "big5";
inline constexpr auto eucJp = "euc-jp";
inline constexpr auto iso2022Jp = "iso-2022-jp";
} // namespace CharsetNames

/// The charset that is meant by a label of whatever spelling: one of the above, or another that may be
/// handed to iconv. Empty for one that is not known.
[[nodiscard]] QByteArray canonicalCharset(QByteArrayView label);
