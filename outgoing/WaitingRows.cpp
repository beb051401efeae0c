#include "outgoing/WaitingRows.h"

#include "foundation/DateTimeValue.h"

#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace
{

constexpr auto learntFor = std::chrono::hours(1);

/// Every database understands this one as a date, whatever its language is.
const QString dateForm = u"yyyy-MM-ddTHH:mm:ss"_s;
const QString textForm = u"yyyy-MM-dd HH:mm:ss"_s;

qint64 wallClockSeconds(const QDateTime &dateTime)
{
    return QDateTime(dateTime.date(), dateTime.time(), QTimeZone::utc()).toSecsSinceEpoch();
}

} // namespace

bool isDue(const QDateTime &scheduled, const Clock &clock)
{
    return wallClockSeconds(scheduled) <= wallClockSeconds(clock.now());
}

std::vector<WaitingRows::Row> WaitingRows::due()
{
    if (m_clock.steady() - m_learntAt >= learntFor)
        m_form.clear();
    try {
        return read();
    } catch (const DatabaseFault &) {
        m_form.clear(); // the column may be another by now
        throw;
    }
}

std::vector<WaitingRows::Row> WaitingRows::read()
{
    std::vector<Row> rows;
    qint64 sampleId = 0;
    QVariant sample;
    const QString query =
        u"select OAID, ToSendDT, case when ToUserList is null then 0 else 1 end from %1"_s.arg(
            m_connection.pastHeldRows(u"SMS_WaitToSend"_s));
    const auto visit = [&](const Statement &row) {
        const QVariant value = row.value(1);
        const auto date = dateTimeValue(value);
        if (date && sampleId == 0 &&
            (value.typeId() == QMetaType::QDateTime || value.toString() == date->toString(textForm))) {
            sampleId = row.value(0).toLongLong();
            sample = value;
        }
        if (!date || isDue(*date, m_clock))
            rows.push_back({row.value(0).toLongLong(), !row.value(0).isNull(), date.has_value(),
                            row.value(2).toInt() != 0});
        return true;
    };
    if (m_form.isEmpty()) {
        m_connection.scan(query, {}, visit);
        if (sampleId != 0)
            learn(sampleId, sample);
    } else {
        m_connection.scan(query + u" where "_s + condition(), {m_clock.now().toString(m_form)}, visit);
    }
    return rows;
}

/// By what the database makes of one date that it has.
void WaitingRows::learn(qint64 id, const QVariant &date)
{
    m_form = date.typeId() == QMetaType::QDateTime ? dateForm : textForm;
    m_learntAt = m_clock.steady();
    if (!compares(id, *dateTimeValue(date)))
        m_form.clear();
}

bool WaitingRows::compares(qint64 id, const QDateTime &date)
try {
    const auto isFound = [&](int secondsLater) {
        return m_connection
            .firstValue(u"select OAID from SMS_WaitToSend where (%1) and OAID=?"_s.arg(condition()),
                        {date.addSecs(secondsLater).toString(m_form), id})
            .has_value();
    };
    return isFound(1) && !isFound(-1);
} catch (const DatabaseFault &fault) {
    if (fault.kind() != DatabaseFault::Kind::Refused)
        throw;
    return false;
}

QString WaitingRows::condition() const
{
    const QString notLater = u"ToSendDT is null or ToSendDT<=?"_s;
    return m_form == textForm ? notLater + u" or ToSendDT not like '____-__-__ __:__:__'"_s : notLater;
}
