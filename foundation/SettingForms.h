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

/// What the whole of it matches, letter case apart.
[[nodiscard]] SettingValue text(const QString &form, const QString &typed, const QString &problem);
/// This word or nothing.
[[nodiscard]] SettingValue word(const QString &word, const QString &typed);
/// A whole number from 1 on; halves are rounded to the even neighbour where fractions are.
enum class Fractions { Rounded, Refused };
[[nodiscard]] SettingValue number(const QString &typed, qint32 most, Fractions fractions,
                                  const QString &problem);
[[nodiscard]] SettingValue connectString(const QString &typed);
[[nodiscard]] SettingValue devicePath(const QString &typed);
[[nodiscard]] SettingValue lineSpeed(const QString &typed);
[[nodiscard]] SettingValue webAddress(const QString &typed);

} // namespace SettingForms
