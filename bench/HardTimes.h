#pragma once

#include "tests/support/DatabaseRoute.h"

/// What a pass has to bear: prints its figures on one route, named name, beside their limits. Return whether
/// these hold.

/// A stop in the middle of a message of 3,000 recipients times 300 pieces, after some seconds.
bool benchStop(DatabaseRoute route, const QString &name, int seconds);
/// 100,000 waiting rows and as many finished ones that the database refuses.
bool benchSetAside(DatabaseRoute route, const QString &name);
