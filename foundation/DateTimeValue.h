#pragma once

#include <QDateTime>
#include <QVariant>
#include <optional>

/// The local date-time that a database value means: a date-time, a date (midnight), or a text such as
/// "2006-03-05 07:08:09", "2006/3/5 7:08", "2006-03-05", "2006-03-05T07:08:09.250Z" or "...+08:00".
/// A value that names its zone is turned into local time. Nothing for null and for anything else.
[[nodiscard]] std::optional<QDateTime> dateTimeValue(const QVariant &value);
