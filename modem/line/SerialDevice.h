#pragma once

#include <QString>

/// The device of COM number comPort by the system's own convention: COM1 is /dev/ttyS0 (on Windows COM1
/// itself, from COM10 on with the \\.\ prefix). "" for numbers below 1. Whether the device exists is
/// not asked.
[[nodiscard]] QString serialDevice(int comPort);
