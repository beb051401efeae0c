#include "subscription/SmsCommandInterpreter.h"

#include "database/Recordset.h"
#include "database/Transaction.h"
#include "foundation/UserDirectory.h"
#include "subscription/OrderPermission.h"
#include "subscription/OrderType.h"

using namespace Qt::StringLiterals;

namespace
{

/// What the confirmations call the service.
QString serviceName(const QString &orderName)
{
    if (orderName == OrderType::internalMail)
        return u"内部邮件短信通知"_s;
    if (orderName == OrderType::externalMail)
        return u"外部邮件短信通知"_s;
    Q_ASSERT(orderName == OrderType::scheduleReminder);
    return u"日程短信提醒"_s;
}

QString subscribedReply(const QString &orderName)
{
    return u"办公提示：您已经成功订阅了"_s + serviceName(orderName) + u"功能。"_s;
}

QString cancelledReply(const QString &orderName)
{
    return u"办公提示：您已经成功取消了"_s + serviceName(orderName) + u"功能。"_s;
}

/// An order without a code has none that a text could equal, not even an empty one.
bool isCode(const QString &code, const QString &text)
{
    return !code.isNull() && code == text;
}

void setSwitch(Connection &connection, const QString &userName, const QString &orderName,
               const QString &value)
{
    Recordset switches(connection);
    switches.openForUpdate(u"SMS_IsOrder"_s, u"UserName=? and Type=?"_s, {userName, orderName}, u"OAID"_s);
    if (switches.atEnd())
        switches.addNew();
    switches.set("UserName"_L1, userName);
    switches.set("Type"_L1, orderName);
    switches.set("IsOrder"_L1, value);
    switches.update();
}

} // namespace

QString getOrderName(Connection &connection, const QString &text)
{
    const auto name = connection.firstValue(
        u"select OrderName from SMS_Order where OrderCode=? or DisOrderCode=?"_s, {text, text});
    return name ? name->toString() : QString();
}

QString getOrderCode(Connection &connection, const QString &orderName)
{
    const auto code =
        connection.firstValue(u"select OrderCode from SMS_Order where OrderName=?"_s, {orderName});
    return code ? code->toString() : QString();
}

QString getDisOrderCode(Connection &connection, const QString &orderName)
{
    const auto code =
        connection.firstValue(u"select DisOrderCode from SMS_Order where OrderName=?"_s, {orderName});
    return code ? code->toString() : QString();
}

bool isOrderAllowed(Connection &connection, const QString &orderName, const QString &userName)
{
    return OrderPermission::ofOpenOrder(connection, orderName).includes(userName, Qt::CaseSensitive);
}

bool isCommandType(const QString &orderName)
{
    return orderName == OrderType::internalMail || orderName == OrderType::externalMail ||
           orderName == OrderType::scheduleReminder;
}

void handleOrderCommand(Connection &connection, const QString &orderName, const QString &senderNumber,
                        const QString &text, const std::function<void(const QString &reply)> &confirm)
{
    // Around the user lookup too: the commit notices one that failed, which alone would look like a stranger.
    Transaction transaction(connection);
    const QString userName = getMBUser(connection, senderNumber);
    if (!userName.isEmpty() && isOrderAllowed(connection, orderName, userName)) {
        if (isCode(getOrderCode(connection, orderName), text)) {
            setSwitch(connection, userName, orderName, u"1"_s);
            confirm(subscribedReply(orderName));
        }
        // Not "else": the two codes may be equal.
        if (isCode(getDisOrderCode(connection, orderName), text)) {
            setSwitch(connection, userName, orderName, u"0"_s);
            confirm(cancelledReply(orderName));
        }
    }
    transaction.commit();
}
