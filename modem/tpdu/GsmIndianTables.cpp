#include "modem/tpdu/GsmIndianTables.h"

#include <string_view>

namespace
{

using GsmTables::Table;

constexpr int firstLanguage =
    4; // Bengali; then Gujarati, Hindi, Kannada, Malayalam, Oriya, Punjabi, Tamil, Telugu, Urdu

// The scripts of India have one common order, and the locking shift tables follow it: each
// place is an offset into the script's block.

/// Characters of the tables that are ASCII in every script, in order of their septets.
constexpr std::u16string_view asciiSeptets = u"\x0a\x0d\x1b\x20\x21\x28\x29\x2c\x2e"
                                             u"0123456789:;?";
constexpr std::u16string_view asciiCharacters = u"\n\r\x1b !)(,."
                                                u"0123456789:;?";

constexpr bool holds(std::u16string_view characters, char16_t wanted)
{
    return characters.find(wanted) != std::u16string_view::npos;
}

/// holes: offsets at which the script has no character. lastRow: septet 0x60, then 0x7b to 0x7f.
constexpr Table indianLocking(char16_t block, std::u16string_view holes, std::u16string_view lastRow)
{
    Table table{};
    char16_t offset = 1;
    for (char16_t septet = 0; septet < 0x60; ++septet) {
        if (const std::size_t at = asciiSeptets.find(septet); at != std::u16string_view::npos) {
            table.at(septet) = asciiCharacters.at(at);
            continue;
        }
        if (offset == 0x04) // a letter that the tables leave out
            offset = 0x05;
        if (offset == 0x3a) // unassigned in all scripts
            offset = 0x3c;
        table.at(septet) = holds(holes, offset) ? u' ' : static_cast<char16_t>(block + offset);
        ++offset;
    }
    table.at(0x60) = lastRow.at(0);
    for (char16_t septet = 0x61; septet <= 0x7a; ++septet)
        table.at(septet) = septet; // small Latin letters are at their ASCII places
    for (std::size_t i = 1; i < lastRow.size(); ++i)
        table.at(0x7a + i) = lastRow.at(i);
    return table;
}

constexpr Table urduLocking()
{
    constexpr std::u16string_view characters =
        u"\u0627\u0622\u0628\u067B\u0680\u067E\u06A6\u062A\u06C2\u067F\n\u0679\u067D\r\u067A\u067C"
        u"\u062B\u062C\u0681\u0684\u0683\u0685\u0686\u0687\u062D\u062E\u062F\x1b\u068C\u0688\u0689\u068A"
        u" !\u068F\u068D\u0630\u0631\u0691\u0693)(\u0699\u0632,\u0696.\u0698"
        u"0123456789:;\u069A\u0633\u0634?"
        u"\u0635\u0636\u0637\u0638\u0639\u0641\u0642\u06A9\u06AA\u06AB\u06AF\u06B3\u06B1\u0644\u0645\u0646"
        u"\u06BA\u06BB\u06BC\u0648\u06C4\u06D5\u06C1\u06BE\u0621\u06CC\u06D0\u06D2\u064D\u0650\u064F\u0657"
        u"\u0654abcdefghijklmnopqrstuvwxyz\u0655\u0651\u0653\u0656\u0670";
    Table table{};
    for (std::size_t i = 0; i < table.size(); ++i)
        table.at(i) = characters.at(i);
    return table;
}

/// firstNative, secondNative: septets 0x19 and 0x1a. zero: the script's digit 0, from 0x1c on. rest: from
/// 0x26 on, with blanks at the places of braces and backslash.
constexpr Table indianExtension(char16_t firstNative, char16_t secondNative, char16_t zero,
                                std::u16string_view rest)
{
    constexpr std::u16string_view front = u"@£$¥¿\"¤%&'\f*+ -/<=>¡^¡_#*";
    Table table{};
    for (std::size_t i = 0; i < 0x19; ++i)
        table.at(i) = i == 0x0d ? u'\0' : front.at(i);
    table.at(0x19) = firstNative;
    table.at(0x1a) = secondNative;
    for (char16_t digit = 0; digit < 10; ++digit)
        table.at(0x1c + digit) = static_cast<char16_t>(zero + digit);
    for (std::size_t i = 0; i < rest.size(); ++i)
        table.at(0x26 + i) = rest.at(i) == u' ' ? u'\0' : rest.at(i);
    table.at(0x28) = u'{';
    table.at(0x29) = u'}';
    table.at(0x2f) = u'\\';
    table.at(0x3c) = u'[';
    table.at(0x3d) = u'~';
    table.at(0x3e) = u']';
    table.at(0x40) = u'|';
    for (char16_t letter = u'A'; letter <= u'Z'; ++letter)
        table.at(letter) = letter;
    table.at(0x65) = u'€';
    return table;
}

/// Bengali has its digits two places earlier than the others.
constexpr Table bengaliExtension()
{
    Table table = indianExtension(u'\u09E6', u'\u09E7', u'\u09E8',
                                  u"\u09E1\u09E2  \u09E3\u09F2\u09F3\u09F4\u09F5 "
                                  u"\u09F6\u09F7\u09F8\u09F9\u09FA");
    table.at(0x24) = u'\u09DF';
    table.at(0x25) = u'\u09E0';
    return table;
}

constexpr char16_t danda = u'\u0964';
constexpr char16_t doubleDanda = u'\u0965';

constexpr std::array lockingTables{
    indianLocking(0x0980, u"\x0d\x0e\x11\x12\x29\x31\x33\x34\x35\x45\x46\x49\x4a",
                  u"\u09CE\u09D7\u09DC\u09DD\u09F0\u09F1"),
    indianLocking(0x0a80, u"\x0e\x12\x29\x31\x34\x46\x4a", u"\u0AD0\u0AE0\u0AE1\u0AE2\u0AE3\u0AF1"),
    indianLocking(0x0900, u"", u"\u0950\u0972\u097B\u097C\u097E\u097F"),
    indianLocking(0x0c80, u"\x01\x0d\x11\x29\x34\x45\x49", u"\u0CD5\u0CD6\u0CE0\u0CE1\u0CE2\u0CE3"),
    indianLocking(0x0d00, u"\x01\x0d\x11\x29\x3c\x45\x49", u"\u0D57\u0D60\u0D61\u0D62\u0D63\u0D79"),
    indianLocking(0x0b00, u"\x0d\x0e\x11\x12\x29\x31\x34\x45\x46\x49\x4a",
                  u"\u0B56\u0B57\u0B60\u0B61\u0B62\u0B63"),
    indianLocking(0x0a00, u"\x0b\x0c\x0d\x0e\x11\x12\x29\x31\x34\x37\x3d\x43\x44\x45\x46\x49\x4a",
                  u"\u0A51\u0A70\u0A71\u0A72\u0A73\u0A74"),
    indianLocking(0x0b80,
                  u"\x01\x0b\x0c\x0d\x11\x16\x17\x18\x1b\x1d\x20\x21\x22\x25\x26\x27\x2b\x2c\x2d\x3c\x3d\x43"
                  u"\x44\x45\x49",
                  u"\u0BD0\u0BD7\u0BF0\u0BF1\u0BF2\u0BF9"),
    indianLocking(0x0c00, u"\x0d\x11\x29\x34\x3c\x45\x49", u"\u0C55\u0C56\u0C60\u0C61\u0C62\u0C63"),
    urduLocking(),
};

constexpr std::array extensionTables{
    bengaliExtension(),
    indianExtension(danda, doubleDanda, u'\u0AE6', u""),
    indianExtension(
        danda, doubleDanda, u'\u0966',
        u"\u0951\u0952  \u0953\u0954\u0958\u0959\u095A \u095B\u095C\u095D\u095E\u095F\u0960\u0961\u0962"
        u"\u0963\u0970\u0971"),
    indianExtension(danda, doubleDanda, u'\u0CE6', u"\u0CDE\u0CF1  \u0CF2"),
    indianExtension(danda, doubleDanda, u'\u0D66',
                    u"\u0D70\u0D71  \u0D72\u0D73\u0D74\u0D75\u0D7A \u0D7B\u0D7C\u0D7D\u0D7E\u0D7F"),
    indianExtension(danda, doubleDanda, u'\u0B66', u"\u0B5C\u0B5D  \u0B5F\u0B70\u0B71"),
    indianExtension(danda, doubleDanda, u'\u0A66', u"\u0A59\u0A5A  \u0A5B\u0A5C\u0A5E\u0A75"),
    indianExtension(danda, doubleDanda, u'\u0BE6', u"\u0BF3\u0BF4  \u0BF5\u0BF6\u0BF7\u0BF8\u0BFA"),
    indianExtension(u'\0', u'\0', u'\u0C66',
                    u"\u0C58\u0C59  \u0C78\u0C79\u0C7A\u0C7B\u0C7C \u0C7D\u0C7E\u0C7F"),
    indianExtension(
        u'\u0600', u'\u0601', u'\u06F0',
        u"\u060C\u060D  \u060E\u060F\u0610\u0611\u0612 \u0613\u0614\u061B\u061F\u0640\u0652\u0658\u066B"
        u"\u066C\u0672\u0673\u06CD   \u06D4"),
};

template <typename Tables>
const Table *tableOf(const Tables &tables, int language)
{
    const int at = language - firstLanguage;
    return at < 0 || at >= static_cast<int>(tables.size()) ? nullptr
                                                           : &tables.at(static_cast<std::size_t>(at));
}

} // namespace

const Table *GsmIndianTables::locking(int language)
{
    return tableOf(lockingTables, language);
}

const Table *GsmIndianTables::extension(int language)
{
    return tableOf(extensionTables, language);
}
