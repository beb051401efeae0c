#include "platform/modem/GsmIndianTables.h"

QStringView GsmIndianTables::locking(int)
{
    return {};
}

std::span<const GsmTables::ExtensionEntry> GsmIndianTables::extension(int)
{
    return {};
}
