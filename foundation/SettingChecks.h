#pragma once

#include <QString>

/// Why a value would not do as a setting, in words for the person who typed it; "" when it does. An empty
/// value takes a setting away and always does.
namespace SettingChecks
{

[[nodiscard]] QString anything(const QString &value);
[[nodiscard]] QString serviceCentre(const QString &value);
[[nodiscard]] QString scanInterval(const QString &value);
[[nodiscard]] QString comPort(const QString &value);
[[nodiscard]] QString connectString(const QString &value);
[[nodiscard]] QString devicePath(const QString &value);
[[nodiscard]] QString lineSpeed(const QString &value);
[[nodiscard]] QString countryCode(const QString &value);
[[nodiscard]] QString mailTls(const QString &value);
[[nodiscard]] QString mailHiddenText(const QString &value);
[[nodiscard]] QString webAddress(const QString &value);
/// A whole number above 0 in the 32-bit range.
[[nodiscard]] QString wholeNumberAboveZero(const QString &value);

} // namespace SettingChecks
