#include "platform/modem/GsmTables.h"

#include "platform/modem/GsmIndianTables.h"

#include <array>

namespace
{

using GsmTables::ExtensionEntry;

// National language identifiers, 3GPP TS 23.038, 6.2.1.2.4.
constexpr int turkish = 1;
constexpr int spanish = 2;
constexpr int portuguese = 3;

constexpr QStringView defaultAlphabet =
    u"@£$¥èéùìòÇ\nØø\rÅåΔ_ΦΓΛΩΠΨΣΘΞ\x1bÆæßÉ !\"#¤%&'()*+,-./0123456789:;<=>?"
    u"¡ABCDEFGHIJKLMNOPQRSTUVWXYZÄÖÑÜ§¿abcdefghijklmnopqrstuvwxyzäöñüà";
constexpr QStringView turkishLocking =
    u"@£$¥€éùıòÇ\nĞğ\rÅåΔ_ΦΓΛΩΠΨΣΘΞ\x1bŞşßÉ !\"#¤%&'()*+,-./0123456789:;<=>?"
    u"İABCDEFGHIJKLMNOPQRSTUVWXYZÄÖÑÜ§çabcdefghijklmnopqrstuvwxyzäöñüà";
constexpr QStringView portugueseLocking =
    u"@£$¥êéúíóç\nÔô\rÁáΔ_ªÇÀ∞^\\€Ó|\x1bÂâÊÉ !\"#º%&'()*+,-./0123456789:;<=>?"
    u"ÍABCDEFGHIJKLMNOPQRSTUVWXYZÃÕÚÜ§~abcdefghijklmnopqrstuvwxyzãõ`üà";
static_assert(defaultAlphabet.size() == 128);
static_assert(turkishLocking.size() == 128);
static_assert(portugueseLocking.size() == 128);

constexpr std::array<ExtensionEntry, 10> defaultExtension{{{0x0a, u'\f'},
                                                           {0x14, u'^'},
                                                           {0x28, u'{'},
                                                           {0x29, u'}'},
                                                           {0x2f, u'\\'},
                                                           {0x3c, u'['},
                                                           {0x3d, u'~'},
                                                           {0x3e, u']'},
                                                           {0x40, u'|'},
                                                           {0x65, u'€'}}};
constexpr std::array<ExtensionEntry, 17> turkishSingle{{{0x0a, u'\f'},
                                                        {0x14, u'^'},
                                                        {0x28, u'{'},
                                                        {0x29, u'}'},
                                                        {0x2f, u'\\'},
                                                        {0x3c, u'['},
                                                        {0x3d, u'~'},
                                                        {0x3e, u']'},
                                                        {0x40, u'|'},
                                                        {0x47, u'Ğ'},
                                                        {0x49, u'İ'},
                                                        {0x53, u'Ş'},
                                                        {0x63, u'ç'},
                                                        {0x65, u'€'},
                                                        {0x67, u'ğ'},
                                                        {0x69, u'ı'},
                                                        {0x73, u'ş'}}};
constexpr std::array<ExtensionEntry, 19> spanishSingle{{{0x09, u'ç'},
                                                        {0x0a, u'\f'},
                                                        {0x14, u'^'},
                                                        {0x28, u'{'},
                                                        {0x29, u'}'},
                                                        {0x2f, u'\\'},
                                                        {0x3c, u'['},
                                                        {0x3d, u'~'},
                                                        {0x3e, u']'},
                                                        {0x40, u'|'},
                                                        {0x41, u'Á'},
                                                        {0x49, u'Í'},
                                                        {0x4f, u'Ó'},
                                                        {0x55, u'Ú'},
                                                        {0x61, u'á'},
                                                        {0x65, u'€'},
                                                        {0x69, u'í'},
                                                        {0x6f, u'ó'},
                                                        {0x75, u'ú'}}};
constexpr std::array<ExtensionEntry, 37> portugueseSingle{
    {{0x05, u'ê'}, {0x09, u'ç'}, {0x0a, u'\f'}, {0x0b, u'Ô'}, {0x0c, u'ô'},  {0x0e, u'Á'}, {0x0f, u'á'},
     {0x12, u'Φ'}, {0x13, u'Γ'}, {0x14, u'^'},  {0x15, u'Ω'}, {0x16, u'Π'},  {0x17, u'Ψ'}, {0x18, u'Σ'},
     {0x19, u'Θ'}, {0x1f, u'Ê'}, {0x28, u'{'},  {0x29, u'}'}, {0x2f, u'\\'}, {0x3c, u'['}, {0x3d, u'~'},
     {0x3e, u']'}, {0x40, u'|'}, {0x41, u'À'},  {0x49, u'Í'}, {0x4f, u'Ó'},  {0x55, u'Ú'}, {0x5b, u'Ã'},
     {0x5c, u'Õ'}, {0x61, u'Â'}, {0x65, u'€'},  {0x69, u'í'}, {0x6f, u'ó'},  {0x75, u'ú'}, {0x7b, u'ã'},
     {0x7c, u'õ'}, {0x7f, u'â'}}};

} // namespace

QStringView GsmTables::locking(int language)
{
    switch (language) {
    case turkish:
        return turkishLocking;
    case portuguese:
        return portugueseLocking;
    default: // Spanish has no locking shift table of its own
        break;
    }
    const QStringView indian = GsmIndianTables::locking(language);
    return indian.isEmpty() ? defaultAlphabet : indian;
}

std::span<const ExtensionEntry> GsmTables::extension(int language)
{
    switch (language) {
    case turkish:
        return turkishSingle;
    case spanish:
        return spanishSingle;
    case portuguese:
        return portugueseSingle;
    default:
        break;
    }
    const std::span<const ExtensionEntry> indian = GsmIndianTables::extension(language);
    return indian.empty() ? std::span<const ExtensionEntry>(defaultExtension) : indian;
}
