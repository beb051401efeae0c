#pragma once

#include "modem/tpdu/GsmTable.h"

/// The character tables of 3GPP TS 23.038, by national language identifier (6.2.1.2.4); 0 and every
/// identifier without a table of its own mean the default ones.
namespace GsmTables
{

/// The default alphabet (6.2.1) or a locking shift table (annex A.3). Undefined places are blanks.
[[nodiscard]] const Table &locking(int language);

/// What ESC plus septet means: the default extension table (6.2.1.1) or a single shift table (annex A.2).
/// Undefined places are 0.
[[nodiscard]] const Table &extension(int language);

} // namespace GsmTables
