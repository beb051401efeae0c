#pragma once

#include <functional>

/// Calls gone once when the connection to the X server breaks, just before the windowing library ends the
/// program. One at a time.
class DisplayWatch
{
public:
    explicit DisplayWatch(std::function<void()> gone);
    ~DisplayWatch();
    DisplayWatch(const DisplayWatch &) = delete;
    DisplayWatch &operator=(const DisplayWatch &) = delete;
};
