#pragma once

#include <array>

namespace GsmTables
{

/// A character for each septet.
using Table = std::array<char16_t, 128>;

} // namespace GsmTables
