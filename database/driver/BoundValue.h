#pragma once

#include <QVariant>

/// True for what the database is to store as NULL: nothing, or a null binary, date or time. A QString is a text,
/// and never NULL.
[[nodiscard]] bool isNullValue(const QVariant &value);

/// A value in the form in which every kind of column takes it: dates and times as wall-clock text (ISO 8601
/// with a blank), truth as 1 or 0, fractions as text, text without unpaired surrogates. A NUL in a text becomes
/// replacementForNul unless that is a null QChar.
[[nodiscard]] QVariant boundValue(const QVariant &value, QChar replacementForNul);

/// What is in a column of fixed length, without the blanks that fill it.
[[nodiscard]] QString withoutPadding(QString text);

/// What a column holds, whatever its system calls the type.
enum class ColumnKind { Number, Fraction, Date, DateTime, Text, PaddedText, Octets };
/// A column's value, not null, that the driver gives as text, dates and times as ISO 8601 has them: a whole number where
/// it is one, a time in the local zone, a text of fixed length without the blanks that fill it.
[[nodiscard]] QVariant columnValue(ColumnKind kind, const QString &text);

/// Octets, about, that the values take on the line.
[[nodiscard]] qint64 payloadOctets(const QVariantList &values);

/// The local time zone, as servers want it.
[[nodiscard]] QString localZoneName();
/// Its present offset from UTC: "+08:00".
[[nodiscard]] QString localZoneOffset();
