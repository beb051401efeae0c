#include "mime/MailDate.h"

#include <QHash>
#include <QRegularExpression>
#include <QTimeZone>

#include <array>
#include <chrono>
#include <optional>

using namespace Qt::StringLiterals;

namespace
{

constexpr qsizetype longestDate = 200; // octets that are read

QRegularExpression form(const QString &pattern)
{
    const QString months = u"jan|feb|mar|apr|may|jun|jul|aug|sep|oct|nov|dec"_s;
    return QRegularExpression(QString(pattern).replace(u"MONTH"_s, u"(?<month>%1)[a-z]*"_s.arg(months)),
                              QRegularExpression::CaseInsensitiveOption);
}

QString withoutComments(QString text)
{
    static const QRegularExpression comment = form(u"\\([^()]*\\)"_s);
    while (text.contains(comment))
        text.replace(comment, u" "_s);
    return text.simplified();
}

/// "5 Mar 2024" and "5-Mar-24", "Mar 5 10:04:06 2024", "2024-03-05" and "2024/3/5".
QDate dayIn(const QString &text)
{
    static const std::array forms{form(u"\\b(?<day>\\d\\d?)[ -]+MONTH[ ,-]+(?<year>\\d{2,4})\\b"_s),
                                  form(u"\\bMONTH (?<day>\\d\\d?),? (?:.* )?(?<year>\\d{4})\\b"_s),
                                  form(u"\\b(?<year>\\d{4})[-/](?<month>\\d\\d?)[-/](?<day>\\d\\d?)"_s)};
    for (const QRegularExpression &one : forms) {
        const QRegularExpressionMatch match = one.match(text);
        if (!match.hasMatch())
            continue;
        const QString year = match.captured(u"year"_s);
        const QString month = match.captured(u"month"_s).toLower();
        // RFC 5322, 4.3
        const int century = year.size() > 3 ? 0 : year.size() == 3 || year.toInt() >= 50 ? 1900 : 2000;
        const auto named = u"janfebmaraprmayjunjulaugsepoctnovdec"_s.indexOf(month);
        return {century + year.toInt(), named < 0 ? month.toInt() : static_cast<int>(named) / 3 + 1,
                match.captured(u"day"_s).toInt()};
    }
    return {};
}

/// East of Greenwich: "+hhmm", "+hh:mm" or a name; unknown names are Greenwich, as RFC 5322, 4.3 has it.
std::optional<std::chrono::minutes> offsetIn(const QString &zone)
{
    static const QRegularExpression number = form(u"([+-])(\\d\\d?):?(\\d\\d)?\\b"_s);
    static const QRegularExpression name = form(u"[a-z]+"_s);
    // Four in America, each with its summer time.
    static const QHash<QString, int> hoursByName{{u"EST"_s, -5}, {u"EDT"_s, -4}, {u"CST"_s, -6},
                                                 {u"CDT"_s, -5}, {u"MST"_s, -7}, {u"MDT"_s, -6},
                                                 {u"PST"_s, -8}, {u"PDT"_s, -7}};
    if (const auto match = number.match(zone); match.hasMatch()) {
        const int hours = match.captured(2).toInt();
        const int minutes = match.captured(3).toInt();
        if (hours > 14 || minutes > 59)
            return std::nullopt;
        return std::chrono::minutes((hours * 60 + minutes) * (match.captured(1) == u"-" ? -1 : 1));
    }
    if (const auto match = name.match(zone); match.hasMatch())
        return std::chrono::hours(hoursByName.value(match.captured().toUpper()));
    return std::nullopt;
}

} // namespace

QDateTime parseMailDate(QByteArrayView raw)
{
    static const QRegularExpression clock =
        form(u"(\\d\\d?):(\\d\\d?)(?::(\\d\\d?))?(?: ?([ap])m\\b)?(.*)"_s);
    const QString text = withoutComments(QString::fromLatin1(raw.first(qMin(raw.size(), longestDate))));
    const QDate day = dayIn(text);
    const QRegularExpressionMatch match = clock.match(text);
    const QString half = match.captured(4).toLower(); // of the day
    const int hour = match.captured(1).toInt();
    const int second = match.captured(3).toInt(); // a leap second is the second before it
    const QTime time(half.isEmpty() ? hour : hour % 12 + (half == u"p" ? 12 : 0), match.captured(2).toInt(),
                     second == 60 ? 59 : second);
    if (!day.isValid() || !time.isValid())
        return {};
    const auto offset = offsetIn(match.captured(5));
    const QDateTime date = offset ? QDateTime(day, time, QTimeZone::utc())
                                        .addSecs(-std::chrono::seconds(*offset).count())
                                        .toLocalTime()
                                  : QDateTime(day, time);
    return date.date().year() >= 1753 && date.date().year() <= 9999 ? date : QDateTime();
}
