#pragma once

#include <functional>

/// gone is called once when the connection to the X server breaks, just before the windowing library ends the
/// program; an empty function takes it back.
void whenDisplayIsGone(std::function<void()> gone);
