#include "foundation/DateTimeValue.h"

#include <QRegularExpression>
#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace
{

std::optional<QDateTime> fromText(const QString &text)
{
    // date, then optionally time to the minute, second or fraction, then optionally a zone
    static const QRegularExpression form(
        u"^\\s*(\\d{4})[-/.](\\d{1,2})[-/.](\\d{1,2})"
        "(?:[T\\s]\\s*(\\d{1,2}):(\\d{1,2})(?::(\\d{1,2})(?:[.,]\\d+)?)?\\s*(?:(Z)|([+-])(\\d{2}):?(\\d{2})?)?)?\\s*$"_s);
    const auto match = form.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    const auto number = [&match](int group) { return match.captured(group).toInt(); };
    const QDate date(number(1), number(2), number(3));
    const QTime time(number(4), number(5), number(6));
    if (!date.isValid() || !time.isValid())
        return std::nullopt;
    const bool zoned = match.hasCaptured(7) || match.hasCaptured(8);
    if (!zoned)
        return QDateTime(date, time);
    int offsetSeconds = (number(9) * 60 + number(10)) * 60;
    if (match.captured(8) == "-"_L1)
        offsetSeconds = -offsetSeconds;
    return QDateTime(date, time, QTimeZone::utc()).addSecs(-offsetSeconds).toLocalTime();
}

} // namespace

std::optional<QDateTime> dateTimeValue(const QVariant &value)
{
    if (value.isNull())
        return std::nullopt;
    switch (value.typeId()) {
    case QMetaType::QDateTime: {
        const QDateTime dateTime = value.toDateTime();
        return dateTime.isValid() ? std::optional(dateTime.toLocalTime()) : std::nullopt;
    }
    case QMetaType::QDate: {
        const QDate date = value.toDate();
        return date.isValid() ? std::optional(date.startOfDay()) : std::nullopt;
    }
    default:
        return fromText(value.toString());
    }
}
