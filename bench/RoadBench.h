#pragma once

#include "tests/support/DatabaseRoute.h"

/// The expander and the archiver on a route's database, beside the same statements straight on its driver:
/// one waiting row to that many recipients in 3 pieces each, then its queue rows archived, one transaction
/// each. Best of so many runs. Prints the figures and returns whether they hold.
[[nodiscard]] bool benchRoad(DatabaseRoute route, const QString &name, int recipients, int runs);
