#include "simulator/network/NotificationRanges.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace simulator
{
NotificationRanges::NotificationRanges()
{
    *this = *fromText("(0-3),(0-3),(0,2),(0-2),(0,1)");
}

std::optional<NotificationRanges> NotificationRanges::fromText(const QByteArray &text)
{
    static const QRegularExpression whole(
        u"^\\((\\d[\\d,-]*)\\),\\((\\d[\\d,-]*)\\),\\((\\d[\\d,-]*)\\),\\((\\d[\\d,-]*)\\),\\((\\d[\\d,-]*)\\)$"_s);
    const QRegularExpressionMatch match = whole.match(QString::fromLatin1(text));
    if (!match.hasMatch())
        return std::nullopt;
    NotificationRanges ranges{Nothing{}};
    ranges.m_text = text;
    for (size_t i = 0; i < ranges.m_allowed.size(); ++i) {
        const QStringList items = match.captured(static_cast<int>(i) + 1).split(u',');
        for (const QString &item : items) {
            const int from = item.section(u'-', 0, 0).toInt();
            const int to = item.section(u'-', -1).toInt();
            for (int value = from; value <= qMin(to, 9); ++value)
                ranges.m_allowed[i] += value;
        }
    }
    return ranges;
}

bool NotificationRanges::allows(const std::array<int, 5> &values) const
{
    for (size_t i = 0; i < values.size(); ++i) {
        if (!m_allowed[i].contains(values[i]))
            return false;
    }
    return true;
}
} // namespace simulator
