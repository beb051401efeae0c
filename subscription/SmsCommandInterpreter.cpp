#include "subscription/SmsCommandInterpreter.h"

#include "database/NamedLock.h"
#include "database/Recordset.h"
#include "database/Transaction.h"
#include "foundation/UserDirectory.h"
#include "subscription/OrderPermission.h"
#include "subscription/OrderType.h"

using namespace Qt::StringLiterals;

namespace
{

/// What the confirmations call the services, by order type.
const QMap<QString, QString> &serviceNames()
{
    static const QMap<QString, QString> names{{OrderType::internalMail, u"内部邮件短信通知"_s},
                                              {OrderType::externalMail, u"外部邮件短信通知"_s},
                                              {OrderType::scheduleReminder, u"日程短信提醒"_s}};
    return names;
}

QString confirmation(const QString &orderName, const QString &done)
{
    return u"办公提示：您已经成功%1了%2功能。"_s.arg(done, serviceNames().value(orderName));
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

bool isCommandType(const QString &orderName)
{
    return serviceNames().contains(orderName);
}

void handleOrderCommand(Connection &connection, const QString &orderName, const QString &senderNumber,
                        const QString &text, const std::function<void(const QString &reply)> &confirm)
{
    // Beside other servers the switch could get two rows. Taken before the transaction, which sees what was there at its
    // first reading.
    NamedLock lock(connection);
    if (NamedLock::whyUnsupported(connection).isEmpty() &&
        !lock.tryTake(u"sms-server switch %1 %2"_s.arg(orderName, getMBUser(connection, senderNumber))))
        throw DatabaseFault(DatabaseFault::Kind::Locked, u"另一个短信服务器正在切换同一订阅"_s);
    // Around the user lookup too: the commit notices one that failed, which alone would look like a stranger.
    Transaction transaction(connection);
    const QString userName = getMBUser(connection, senderNumber);
    if (!userName.isEmpty() &&
        OrderPermission::ofOpenOrder(connection, orderName).includes(userName, Qt::CaseSensitive)) {
        Recordset order(connection);
        order.open(u"select OrderCode, DisOrderCode from SMS_Order where OrderName=?"_s, {orderName});
        // Not "else": the two codes may be equal. A null is no code, and equals not even an empty text.
        const auto isCode = [&](QLatin1String column) {
            return !order.atEnd() && !order.value(column).isNull() && order.text(column) == text;
        };
        if (isCode("OrderCode"_L1)) {
            setSwitch(connection, userName, orderName, u"1"_s);
            confirm(confirmation(orderName, u"订阅"_s));
        }
        if (isCode("DisOrderCode"_L1)) {
            setSwitch(connection, userName, orderName, u"0"_s);
            confirm(confirmation(orderName, u"取消"_s));
        }
    }
    transaction.commit();
}
