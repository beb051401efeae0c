#pragma once

#include <QIcon>

/// The program's icon in every size that desktops ask for.
[[nodiscard]] QIcon programIcon();
