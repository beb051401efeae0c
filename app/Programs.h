#pragma once

#include <QString>

/// The programs that make the server, as paths. They lie side by side where they were built, and where the
/// installation puts them.

/// The server itself, which knows no window.
[[nodiscard]] QString serverProgram();
/// The same server with its main window.
[[nodiscard]] QString windowProgram();
