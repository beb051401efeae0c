#pragma once

#include <QString>

/// What strangers wrote, fit to be shown: each control, direction or line character becomes a blank, so that it
/// neither steers a terminal nor makes a line look like another.
[[nodiscard]] QString harmlessText(QString text);
