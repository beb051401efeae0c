#pragma once

#include "platform/clock/Clock.h"

/// The timestamp text of the clock's local date-time: YYYY-MM-DD HH:MM:SS, 19 characters. The only date-time
/// form that the server writes to the database, the log box and the status bar.
[[nodiscard]] QString GetFormateTime(const Clock &clock);
