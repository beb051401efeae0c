#pragma once

#include "tests/simulation/Story.h"

/// Stories that are told for one purpose, not drawn from a seed.
struct Kind {
    QString name;
    QString purpose;
    std::vector<Story> (*stories)() = nullptr;
};
[[nodiscard]] const std::vector<Kind> &kinds();
