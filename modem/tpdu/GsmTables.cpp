#include "modem/tpdu/GsmTables.h"

#include "modem/tpdu/GsmIndianTables.h"

#include <initializer_list>
#include <string_view>

namespace
{

using GsmTables::Table;

// National language identifiers, 3GPP TS 23.038, 6.2.1.2.4. Spanish has a single shift table only.
constexpr int turkish = 1;
constexpr int spanish = 2;
constexpr int portuguese = 3;

constexpr Table whole(std::u16string_view characters)
{
    Table table{};
    for (std::size_t i = 0; i < table.size(); ++i)
        table.at(i) = characters.at(i);
    return table;
}

struct Place {
    std::size_t septet;
    char16_t character;
};

constexpr Table with(Table table, std::initializer_list<Place> places)
{
    for (const Place &place : places)
        table.at(place.septet) = place.character;
    return table;
}

constexpr Table defaultAlphabet =
    whole(u"@£$¥èéùìòÇ\nØø\rÅåΔ_ΦΓΛΩΠΨΣΘΞ\x1bÆæßÉ !\"#¤%&'()*+,-./0123456789:;<=>?"
          u"¡ABCDEFGHIJKLMNOPQRSTUVWXYZÄÖÑÜ§¿abcdefghijklmnopqrstuvwxyzäöñüà");
constexpr Table turkishLocking = with(defaultAlphabet, {{0x04, u'€'},
                                                        {0x07, u'ı'},
                                                        {0x0b, u'Ğ'},
                                                        {0x0c, u'ğ'},
                                                        {0x1c, u'Ş'},
                                                        {0x1d, u'ş'},
                                                        {0x40, u'İ'},
                                                        {0x60, u'ç'}});
constexpr Table portugueseLocking =
    whole(u"@£$¥êéúíóç\nÔô\rÁáΔ_ªÇÀ∞^\\€Ó|\x1bÂâÊÉ !\"#º%&'()*+,-./0123456789:;<=>?"
          u"ÍABCDEFGHIJKLMNOPQRSTUVWXYZÃÕÚÜ§~abcdefghijklmnopqrstuvwxyzãõ`üà");

constexpr Table defaultExtension = with({}, {{0x0a, u'\f'},
                                             {0x14, u'^'},
                                             {0x28, u'{'},
                                             {0x29, u'}'},
                                             {0x2f, u'\\'},
                                             {0x3c, u'['},
                                             {0x3d, u'~'},
                                             {0x3e, u']'},
                                             {0x40, u'|'},
                                             {0x65, u'€'}});
constexpr Table turkishExtension =
    with(defaultExtension,
         {{0x47, u'Ğ'}, {0x49, u'İ'}, {0x53, u'Ş'}, {0x63, u'ç'}, {0x67, u'ğ'}, {0x69, u'ı'}, {0x73, u'ş'}});
constexpr Table spanishExtension = with(defaultExtension, {{0x09, u'ç'},
                                                           {0x41, u'Á'},
                                                           {0x49, u'Í'},
                                                           {0x4f, u'Ó'},
                                                           {0x55, u'Ú'},
                                                           {0x61, u'á'},
                                                           {0x69, u'í'},
                                                           {0x6f, u'ó'},
                                                           {0x75, u'ú'}});
constexpr Table portugueseExtension =
    with(defaultExtension,
         {{0x05, u'ê'}, {0x09, u'ç'}, {0x0b, u'Ô'}, {0x0c, u'ô'}, {0x0e, u'Á'}, {0x0f, u'á'}, {0x12, u'Φ'},
          {0x13, u'Γ'}, {0x15, u'Ω'}, {0x16, u'Π'}, {0x17, u'Ψ'}, {0x18, u'Σ'}, {0x19, u'Θ'}, {0x1f, u'Ê'},
          {0x41, u'À'}, {0x49, u'Í'}, {0x4f, u'Ó'}, {0x55, u'Ú'}, {0x5b, u'Ã'}, {0x5c, u'Õ'}, {0x61, u'Â'},
          {0x69, u'í'}, {0x6f, u'ó'}, {0x75, u'ú'}, {0x7b, u'ã'}, {0x7c, u'õ'}, {0x7f, u'â'}});

} // namespace

const Table &GsmTables::locking(int language)
{
    if (language == turkish)
        return turkishLocking;
    if (language == portuguese)
        return portugueseLocking;
    const Table *indian = GsmIndianTables::locking(language);
    return indian == nullptr ? defaultAlphabet : *indian;
}

const Table &GsmTables::extension(int language)
{
    if (language == turkish)
        return turkishExtension;
    if (language == spanish)
        return spanishExtension;
    if (language == portuguese)
        return portugueseExtension;
    const Table *indian = GsmIndianTables::extension(language);
    return indian == nullptr ? defaultExtension : *indian;
}
