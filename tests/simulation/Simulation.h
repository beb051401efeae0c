#pragma once

#include "tests/simulation/Promises.h"

/// Lives through a story.
[[nodiscard]] Aftermath simulate(const Story &story);

/// The story without whatever it breaks its promises without.
[[nodiscard]] Story shortest(Story story);
