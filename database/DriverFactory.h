#pragma once

#include "database/driver/Driver.h"

/// The driver that a connection string asks for. Throws DatabaseFault for an unknown provider or a string
/// that lacks what the provider needs; the text names the key at fault and never a password.
[[nodiscard]] std::unique_ptr<Driver> makeDriver(const QString &connectionString);
