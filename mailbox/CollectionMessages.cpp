#include "mailbox/CollectionMessages.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace CollectionMessages
{

namespace
{

// A key may be beyond what a JSON number holds exactly.
QString keyText(qint64 key)
{
    return QString::number(key);
}

QByteArray line(const QJsonArray &array)
{
    return QJsonDocument(array).toJson(QJsonDocument::Compact) + '\n';
}

struct Encoder {
    QJsonArray operator()(const AccountBegins &report) const
    {
        return {u"account"_s, keyText(report.accountKey), report.mailbox};
    }
    QJsonArray operator()(const MailBegins &report) const
    {
        return {u"mail"_s, keyText(report.mail.accountKey), report.mail.uid};
    }
    QJsonArray operator()(const MailEnds &) const { return {u"end"_s}; }
    QJsonArray operator()(const PassFailed &report) const
    {
        return {u"failed"_s, report.databaseGone, report.cause};
    }
};

} // namespace

QByteArray encode(const Order &order)
{
    QJsonArray mails;
    for (const MailKey &mail : order.passedOverMails)
        mails.append(QJsonArray{keyText(mail.accountKey), mail.uid});
    QJsonArray accounts;
    for (const qint64 account : order.passedOverAccounts)
        accounts.append(keyText(account));
    return line({mails, accounts});
}

Order decodeOrder(const QByteArray &line)
{
    const QJsonArray both = QJsonDocument::fromJson(line).array();
    Order order;
    const QJsonArray mails = both.at(0).toArray();
    for (const QJsonValue &mail : mails)
        order.passedOverMails.insert({mail[0].toString().toLongLong(), mail[1].toString()});
    const QJsonArray accounts = both.at(1).toArray();
    for (const QJsonValue &account : accounts)
        order.passedOverAccounts.insert(account.toString().toLongLong());
    return order;
}

QByteArray encode(const Report &report)
{
    return line(std::visit(Encoder(), report));
}

std::optional<Report> decodeReport(const QByteArray &line)
{
    const QJsonArray array = QJsonDocument::fromJson(line).array();
    const QString kind = array.at(0).toString();
    const qint64 key = array.at(1).toString().toLongLong();
    const QString text = array.at(2).toString();
    if (kind == "account"_L1)
        return AccountBegins{key, text};
    if (kind == "mail"_L1)
        return MailBegins{{key, text}};
    if (kind == "end"_L1)
        return MailEnds{};
    if (kind == "failed"_L1)
        return PassFailed{array.at(1).toBool(), text};
    return std::nullopt;
}

} // namespace CollectionMessages
