#pragma once

#include "modem/tpdu/GsmTable.h"

/// The tables of Urdu and the languages of India in 3GPP TS 23.038, annexes A.2 and A.3, identifiers 4 to 13.
namespace GsmIndianTables
{

/// nullptr for identifiers without a table here.
[[nodiscard]] const GsmTables::Table *locking(int language);
[[nodiscard]] const GsmTables::Table *extension(int language);

} // namespace GsmIndianTables
