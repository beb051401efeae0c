#pragma once

#include <chrono>

/// How long a database may keep the program waiting.
struct DatabaseLimits {
    /// From the first packet to the finished login.
    std::chrono::seconds connect{5};
    /// From sending a statement to its whole answer, apart from the time that large values need on the line.
    std::chrono::seconds statement{10};
    /// For a row or table that somebody else holds: the first that a pass meets, and those after it.
    static constexpr std::chrono::milliseconds lock{1000};
    static constexpr std::chrono::milliseconds nextLock{10};
};
