#pragma once

#include <QStringView>
#include <span>

/// The character tables of 3GPP TS 23.038, by national language identifier (6.2.1.2.4); 0 and every
/// identifier without a table of its own mean the default ones.
namespace GsmTables
{

struct ExtensionEntry {
    int septet;
    char16_t character;
};

/// 128 characters: the default alphabet (6.2.1) or a locking shift table (annex A.3). Undefined places are
/// blanks.
[[nodiscard]] QStringView locking(int language);

/// What ESC plus septet means: the default extension table (6.2.1.1) or a single shift table (annex A.2).
[[nodiscard]] std::span<const ExtensionEntry> extension(int language);

} // namespace GsmTables
