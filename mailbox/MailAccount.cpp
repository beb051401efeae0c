#include "mailbox/MailAccount.h"

#include "database/Recordset.h"
#include "foundation/NumericText.h"

#include <limits>

using namespace Qt::StringLiterals;

namespace
{

constexpr int pop3Port = 110; // RFC 1939, 3

std::optional<double> number(const QVariant &value)
{
    if (value.typeId() == QMetaType::Bool)
        return value.toBool() ? 1 : 0;
    return numericValue(value.toString());
}

int portNumber(const QVariant &value)
{
    const auto given = number(value);
    const auto whole = given ? wholeNumber(*given) : std::nullopt;
    // What a column of 16 bits with a sign holds, and the ports beyond it.
    const bool isInRange = whole && *whole >= std::numeric_limits<qint16>::min() &&
                           *whole <= std::numeric_limits<quint16>::max();
    return isInRange ? *whole : pop3Port;
}

std::optional<qint64> key(const QVariant &value)
{
    bool isNumber = false;
    const qint64 key = value.toLongLong(&isNumber);
    return isNumber && !value.isNull() ? std::optional(key) : std::nullopt;
}

} // namespace

QList<MailAccount> mailAccounts(Connection &connection, const QString &userName)
{
    Recordset rows(connection);
    rows.open(u"select * from SA_email where UserName=?"_s, {userName});
    QList<MailAccount> accounts;
    for (; !rows.atEnd(); rows.moveNext()) {
        accounts.append({key(rows.value("OAID"_L1)), rows.text("POPIP"_L1),
                         portNumber(rows.value("PopPort"_L1)), rows.text("EUsername"_L1),
                         rows.text("EPassword"_L1), number(rows.value("IsBaoLiu"_L1)) != 0.0});
    }
    return accounts;
}
