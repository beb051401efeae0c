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
[[nodiscard]] QString servers(const QString &value);
/// A whole number above 0, up to 86400: more than one SIM sends in a day.
[[nodiscard]] QString sendLimit(const QString &value);
/// Why several servers cannot share the database of a connection string, as far as the string alone tells; "" when
/// they can.
[[nodiscard]] QString sharedDatabase(const QString &connectString);
/// A whole number above 0 in the 32-bit range.
[[nodiscard]] QString wholeNumberAboveZero(const QString &value);

} // namespace SettingChecks
