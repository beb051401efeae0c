#include "alerts/Watermarks.h"

#include "database/Recordset.h"

using namespace Qt::StringLiterals;

Watermarks::Watermarks(Connection &connection)
    : m_values(connection, u"SMS_Alert_MaxOAID"_s, u"Source"_s, u"CurrentMaxOAID"_s)
{
}

std::optional<qint64> Watermarks::stored(const QString &userName, MailKind kind) const
{
    const auto value = m_values.value(userName, orderTypeOf(kind));
    if (!value || value->isNull())
        return std::nullopt;
    bool isNumber = false;
    const qint64 watermark = value->toLongLong(&isNumber);
    if (!isNumber)
        throw Fault(u"SMS_Alert_MaxOAID 中的 CurrentMaxOAID 不是数字"_s);
    return watermark;
}

void Watermarks::store(Connection &connection, const QString &userName, MailKind kind, qint64 watermark)
{
    Recordset rows(connection);
    rows.openForUpdate(u"SMS_Alert_MaxOAID"_s, u"UserName=? and Source=?"_s,
                       {userName, QString(orderTypeOf(kind))}, u"OAID"_s);
    if (rows.atEnd())
        rows.addNew();
    rows.set("UserName"_L1, userName);
    rows.set("Source"_L1, QString(orderTypeOf(kind)));
    rows.set("CurrentMaxOAID"_L1, watermark);
    rows.update();
}
