#pragma once

#include <QString>
#include <optional>

/// The text with digits, signs and letters of full width, which Chinese input methods give, in the usual width.
[[nodiscard]] QString usualWidth(QString text);

/// The value of a plain decimal number with an optional sign and fraction, outer blanks and full width allowed.
/// Nothing for any other text ("", "abc", "1e3", "0x10").
[[nodiscard]] std::optional<double> numericValue(const QString &text);

/// The number as a whole number, halves rounded to the even neighbour (2.5 -> 2, 3.5 -> 4).
/// Nothing when it lies beyond the 32-bit signed range.
[[nodiscard]] std::optional<qint32> wholeNumber(double value);
