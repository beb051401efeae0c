#include "mime/MailDate.h"

#include <QTimeZone>
#include <array>
#include <chrono>
#include <optional>

namespace
{

constexpr qsizetype longestDate = 200; // octets that are read

struct Parts {
    int day = 0;
    int month = 0;
    int year = -1;
    std::optional<QTime> time;
    std::optional<std::chrono::minutes> offset; // east of Greenwich
};

QByteArray withoutComments(QByteArrayView raw)
{
    QByteArray text;
    int depth = 0;
    for (const char c : raw) {
        if (c == '(' || (c == ')' && depth > 0))
            depth += c == '(' ? 1 : -1;
        else if (depth == 0)
            text += (static_cast<unsigned char>(c) <= 0x20 || c == ',') ? ' ' : c;
    }
    return text.simplified();
}

std::optional<int> number(QByteArrayView digits)
{
    bool ok = !digits.isEmpty() && digits.front() >= '0' && digits.front() <= '9' && digits.size() <= 5;
    const int value = ok ? digits.toByteArray().toInt(&ok) : 0;
    return ok ? std::optional<int>(value) : std::nullopt;
}

int monthOf(const QByteArray &word)
{
    static constexpr QByteArrayView names = "janfebmaraprmayjunjulaugsepoctnovdec";
    const qsizetype at = word.size() < 3 ? -1 : names.indexOf(word.first(3).toLower());
    return at >= 0 && at % 3 == 0 ? static_cast<int>(at / 3) + 1 : 0;
}

int fullYear(int year, qsizetype digits)
{
    if (digits > 3)
        return year;
    return year + (digits == 3 || year >= 50 ? 1900 : 2000); // RFC 5322, 4.3
}

/// "hh:mm" or "hh:mm:ss", with a fraction or not. A leap second is the second before it.
std::optional<QTime> timeOf(const QByteArray &word)
{
    const QByteArrayList fields = word.split(':');
    if (fields.size() < 2 || fields.size() > 3)
        return std::nullopt;
    const auto hour = number(fields[0]);
    const auto minute = number(fields[1]);
    const auto second = fields.size() == 3 ? number(fields[2].left(2)) : 0;
    if (!hour || !minute || !second)
        return std::nullopt;
    const QTime time(*hour, *minute, qMin(*second, 59));
    return time.isValid() && *second <= 60 ? std::optional(time) : std::nullopt;
}

/// "+hhmm", "+hh:mm", with "GMT" in front or not, or a name; unknown names are Greenwich, as RFC 5322, 4.3 has it.
std::optional<std::chrono::minutes> offsetOf(QByteArray word)
{
    for (const char *greenwich : {"GMT", "UTC"}) {
        if (word.size() > 3 && word.first(3).compare(greenwich, Qt::CaseInsensitive) == 0)
            word = word.sliced(3);
    }
    const char sign = word.front();
    if (sign == '+' || sign == '-') {
        word = word.sliced(1).replace(':', QByteArray());
        const auto value = word.size() <= 4 ? number(word) : std::nullopt;
        if (!value)
            return std::nullopt;
        const int hours = word.size() <= 2 ? *value : *value / 100;
        const int minutes = word.size() <= 2 ? 0 : *value % 100;
        if (hours > 14 || minutes > 59)
            return std::nullopt;
        return std::chrono::minutes((hours * 60 + minutes) * (sign == '-' ? -1 : 1));
    }
    // Four in America, each with its summer time.
    static constexpr std::array zones{"EST", "EDT", "CST", "CDT", "MST", "MDT", "PST", "PDT"};
    static constexpr std::array hours{-5, -4, -6, -5, -7, -6, -8, -7};
    for (size_t i = 0; i < zones.size(); ++i) {
        if (word.compare(zones[i], Qt::CaseInsensitive) == 0)
            return std::chrono::hours(hours[i]);
    }
    return std::chrono::minutes(0);
}

/// "2024-03-05" and "5-Mar-2024".
bool takeJoinedDate(const QByteArray &word, Parts &parts)
{
    const QByteArrayList fields = word.split('-');
    if (fields.size() != 3 || fields[0].isEmpty() || parts.year >= 0)
        return false;
    const bool yearFirst = fields[0].size() == 4;
    const QByteArray &year = fields[yearFirst ? 0 : 2];
    const QByteArray &day = fields[yearFirst ? 2 : 0];
    const int month = number(fields[1]).value_or(monthOf(fields[1]));
    if (!number(year) || !number(day))
        return false;
    parts.year = fullYear(*number(year), year.size());
    parts.month = month;
    parts.day = *number(day);
    return true;
}

Parts partsOf(const QByteArray &text)
{
    Parts parts;
    for (QByteArray word : text.split(' ')) {
        if (const qsizetype t = word.indexOf('T');
            t == 10 && word.size() > 11 && word[4] == '-') { // ISO 8601
            takeJoinedDate(word.first(t), parts);
            word = word.sliced(t + 1);
        }
        if (!parts.time && word.contains(':') && word.front() != '+' && word.front() != '-') {
            // A zone may touch the time.
            const qsizetype zone = qMax(word.indexOf('+'), qMax(word.indexOf('-'), word.indexOf('Z')));
            parts.time = timeOf(zone > 0 ? word.first(zone) : word);
            if (parts.time && zone > 0)
                parts.offset = offsetOf(word.sliced(zone));
        } else if (const auto value = number(word)) {
            const bool isDay = parts.day == 0 && word.size() <= 2;
            if (isDay)
                parts.day = *value;
            else if (parts.year < 0)
                parts.year = fullYear(*value, word.size());
        } else if (const int month = monthOf(word); month > 0 && parts.month == 0) {
            parts.month = month;
        } else if (!word.isEmpty() && !takeJoinedDate(word, parts) && parts.time && !parts.offset) {
            parts.offset = offsetOf(word);
        }
    }
    return parts;
}

} // namespace

QDateTime parseMailDate(QByteArrayView raw)
{
    const Parts parts = partsOf(withoutComments(raw.first(qMin(raw.size(), longestDate))));
    const QDate day(qMax(parts.year, 0), parts.month, parts.day);
    if (!day.isValid() || !parts.time)
        return {};
    const QDateTime date = parts.offset ? QDateTime(day, *parts.time, QTimeZone::utc())
                                              .addSecs(-std::chrono::seconds(*parts.offset).count())
                                              .toLocalTime()
                                        : QDateTime(day, *parts.time);
    return date.date().year() >= 1753 && date.date().year() <= 9999 ? date : QDateTime();
}
