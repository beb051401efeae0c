#pragma once

#include "platform/modem/GsmTables.h"

/// The tables of the languages of India in 3GPP TS 23.038, annexes A.2 and A.3, identifiers 4 to 13.
namespace GsmIndianTables
{

/// Empty for identifiers without a table here.
[[nodiscard]] QStringView locking(int language);
[[nodiscard]] std::span<const GsmTables::ExtensionEntry> extension(int language);

} // namespace GsmIndianTables
