#include "alerts/MailSlices.h"

using namespace Qt::StringLiterals;

namespace
{

constexpr qint64 maximumWidth = qint64(1) << 48;

/// The sum, or the limit when it lies beyond.
qint64 advanced(qint64 number, qint64 distance, qint64 limit)
{
    return quint64(limit) - quint64(number) <= quint64(distance) ? limit : number + distance;
}

} // namespace

qint64 MailSlices::read(Connection &connection, qint64 after, qint64 last, const Visit &visit)
{
    const auto first =
        connection.firstValue(u"select min(VOID) from VO_Email where VOID>? and VOID<=?"_s, {after, last});
    if (!first || first->isNull())
        return last;
    const qint64 before = first->toLongLong() - 1;
    qint64 end = advanced(before, m_width, last);
    // Numbers that lay far apart may lie close together from here on.
    while (m_width > m_sliceRows) {
        const auto count =
            connection.firstValue(u"select count(*) from VO_Email where VOID>? and VOID<=?"_s, {before, end});
        if (!count || count->toLongLong() <= m_sliceRows)
            break;
        m_width = qMax(qint64(m_sliceRows), m_width / 2);
        end = advanced(before, m_width, last);
    }
    int rows = 0;
    // The kind is the database's own comparison; null is neither.
    connection.scan(
        u"select VOID, case when EmailSource<>'2' then 0 when EmailSource='2' then 1 end, EmailTo,"
        " EmailFrom, EmailSubject from VO_Email where VOID>? and VOID<=? and EmailStatus<>'0' order by VOID"_s,
        {before, end}, [&](const Statement &row) {
            visit(row);
            ++rows;
            return true;
        });
    if (rows * 2 <= m_sliceRows && end < last)
        m_width = qMin(m_width * 2, maximumWidth);
    return end;
}
