#pragma once

#include <QString>

/// A setting as it is in force, however it was typed.
struct SettingValue {
    QString plain =
        {}; ///< its plain spelling ("２.０ " gives "2"); "" when there is none or it has no effect
    QString problem = {}; ///< why it has no effect, in words for the person who typed it
};

/// The forms that settings have. Full width, blanks around, and in numbers a sign, leading zeros and a fraction of
/// zeros say the same as the plain spelling.
namespace SettingForms
{

[[nodiscard]] SettingValue serviceCentre(const QString &typed);
/// Seconds, halves rounded to the even neighbour.
[[nodiscard]] SettingValue scanInterval(const QString &typed);
/// In the 16-bit range, rounded likewise.
[[nodiscard]] SettingValue comPort(const QString &typed);
[[nodiscard]] SettingValue connectString(const QString &typed);
[[nodiscard]] SettingValue devicePath(const QString &typed);
[[nodiscard]] SettingValue lineSpeed(const QString &typed);
[[nodiscard]] SettingValue countryCode(const QString &typed);
[[nodiscard]] SettingValue mailTls(const QString &typed);
[[nodiscard]] SettingValue mailHiddenText(const QString &typed);
[[nodiscard]] SettingValue webAddress(const QString &typed);
[[nodiscard]] SettingValue servers(const QString &typed);
/// A whole number above 0, up to 86400: more than one SIM sends in a day.
[[nodiscard]] SettingValue sendLimit(const QString &typed);

} // namespace SettingForms
