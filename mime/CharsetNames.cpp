#include "mime/CharsetNames.h"

#include <array>

using namespace CharsetNames;

namespace
{

struct Alias {
    const char *canonical;
    QByteArrayView names; // with a blank on both sides of each
};
// Code pages instead of the pure standards: mail programs use the characters they add.
constexpr auto aliases = std::to_array<Alias>({
    {gb18030,
     " gb2312 gb_2312-80 gb2312-80 gb_2312 gb2312_charset csgb2312 csiso58gb231280 iso-ir-58 gbk gb "
     "gb18030 gb-18030 gb18030-2000 gb18030-2005 cp936 ms936 936 windows-936 x-gbk x-gb2312 x-cp20936 "
     "euc-cn euccn x-euc-cn cn-gb chinese zh_cn zh-cn "},
    {big5, " big5 big-5 cn-big5 x-x-big5 x-big5 csbig5 cp950 ms950 windows-950 big5-eten big5-hkscs "
           "big5hkscs x-big5-hkscs hkscs zh_tw zh-tw "},
    {"cp932", " shift_jis shift-jis sjis x-sjis ms_kanji csshiftjis windows-31j cp932 ms932 "},
    {"cp949", " euc-kr euckr ks_c_5601-1987 ks_c_5601 ksc5601 korean cp949 windows-949 uhc "},
    {eucJp, " euc-jp eucjp x-euc-jp ujis euc-jp-ms eucjp-ms "},
    {iso2022Jp, " iso-2022-jp csiso2022jp iso-2022-jp-1 iso-2022-jp-2 iso-2022-jp-ms cp50220 cp50221 "},
    {windows1252, " iso-8859-1 iso8859-1 iso_8859-1 latin1 latin-1 l1 cp1252 windows-1252 us-ascii ascii "
                  "ansi_x3.4-1968 "},
    {utf8, " utf-8 utf8 unicode-1-1-utf-8 x-utf-8 utf-8mb4 utf8mb4 "},
    {hz, " hz hz-gb-2312 hz-gb2312 "},
    {"utf-7", " utf-7 utf7 unicode-1-1-utf-7 x-unicode-2-0-utf-7 "},
    {"utf-16", " utf16 unicode ucs-2 iso-10646-ucs-2 "},
});

/// What iconv is asked for; names that it would take besides are not let through, because some of its
/// converters read beyond their input (iso-2022-cn-ext of glibc 2.36).
constexpr QByteArrayView otherCharsets =
    " utf-16 utf-16le utf-16be utf-32 utf-32le utf-32be iso-2022-kr iso-2022-cn euc-tw johab koi8-r "
    "koi8-u koi8-ru tis-620 viscii macintosh ibm437 ibm850 ibm852 ibm866 windows-874 windows-1250 "
    "windows-1251 windows-1253 windows-1254 windows-1255 windows-1256 windows-1257 windows-1258 ";

/// "windows-1251" for "cp1251" and the like, "iso-8859-5" for "iso8859_5"; other names stay.
QByteArray familyName(const QByteArray &name)
{
    static constexpr std::array windows{"cp", "win-", "windows", "x-cp", "x-windows-"};
    for (const char *prefix : windows) {
        if (name.startsWith(prefix) && name.size() == static_cast<qsizetype>(qstrlen(prefix)) + 4)
            return "windows-" + name.last(4);
    }
    for (const char *prefix : {"iso8859-", "iso_8859-", "iso8859_", "iso-8859_"}) {
        if (name.startsWith(prefix))
            return "iso-8859-" + name.sliced(static_cast<qsizetype>(qstrlen(prefix)));
    }
    return name;
}

bool isAllowed(const QByteArray &name)
{
    if (name.startsWith("iso-8859-")) {
        const int part = name.sliced(9).toInt();
        return part >= 2 && part <= 16 && part != 12;
    }
    return otherCharsets.contains(' ' + name + ' ');
}

} // namespace

QByteArray canonicalCharset(QByteArrayView label)
{
    constexpr qsizetype longestLabel = 64;
    QByteArray name = label.first(qMin(label.size(), longestLabel)).toByteArray().toLower();
    for (const char mark : {'"', '\'', ' ', '\t', ';'})
        name.replace(mark, QByteArray());
    const QByteArray word = ' ' + name + ' ';
    for (const Alias &alias : aliases) {
        if (alias.names.contains(word))
            return alias.canonical;
    }
    const QByteArray family = familyName(name);
    return isAllowed(family) ? family : QByteArray();
}
