#pragma once

#include "tests/support/DatabaseRoute.h"

/// 100,000 waiting rows and as many finished ones that the database refuses: prints its figures on one route, named
/// name, beside their limits. Returns whether these hold.
bool benchSetAside(DatabaseRoute route, const QString &name);
