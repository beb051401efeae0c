#include "mailbox/CollectorProtocol.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace Qt::StringLiterals;

namespace CollectorProtocol
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

QJsonArray encoded(const AccountHistory &history)
{
    QJsonArray refused;
    for (const QByteArray &way : history.ways.refused)
        refused.append(QString::fromLatin1(way));
    return {QString::fromLatin1(history.account),
            QString::fromLatin1(history.ways.proven),
            refused,
            history.refusals,
            history.last.toString(Qt::ISODateWithMs),
            qint64(history.distance.count()),
            history.isOneByOne,
            QString::fromLatin1(history.unknownIds),
            QString::fromLatin1(history.unknownSizes),
            history.areIdsChanging};
}

AccountHistory decodedHistory(const QJsonArray &array)
{
    AccountHistory history;
    history.account = array.at(0).toString().toLatin1();
    history.ways.proven = array.at(1).toString().toLatin1();
    const QJsonArray refused = array.at(2).toArray();
    for (const auto &way : refused)
        history.ways.refused += way.toString().toLatin1();
    history.refusals = array.at(3).toInt();
    history.last = QDateTime::fromString(array.at(4).toString(), Qt::ISODateWithMs);
    history.distance = std::chrono::seconds(array.at(5).toInt());
    history.isOneByOne = array.at(6).toBool();
    history.unknownIds = array.at(7).toString().toLatin1();
    history.unknownSizes = array.at(8).toString().toLatin1();
    history.areIdsChanging = array.at(9).toBool();
    return history;
}

struct Encoder {
    QJsonArray operator()(const AccountBegins &report) const
    {
        return {u"account"_s, keyText(report.accountKey), report.mailbox};
    }
    QJsonArray operator()(const AccountLearnt &report) const
    {
        return {u"history"_s, keyText(report.accountKey), encoded(report.history)};
    }
    QJsonArray operator()(const MailBegins &report) const
    {
        return {u"mail"_s, keyText(report.mail.accountKey), report.mail.uid};
    }
    QJsonArray operator()(const MailEnds &) const { return {u"end"_s}; }
    QJsonArray operator()(const CharactersReplaced &report) const { return {u"characters"_s, report.table}; }
    QJsonArray operator()(const PassFailed &report) const
    {
        return {u"failed"_s, report.databaseGone, report.cause};
    }
};

QJsonArray encoded(const QSet<MailKey> &mails)
{
    QJsonArray array;
    for (const MailKey &mail : mails)
        array.append(QJsonArray{keyText(mail.accountKey), mail.uid});
    return array;
}

QSet<MailKey> decodedMails(const QJsonArray &array)
{
    QSet<MailKey> mails;
    for (const auto &mail : array)
        mails.insert({mail[0].toString().toLongLong(), mail[1].toString()});
    return mails;
}

} // namespace

QByteArray encode(const Order &order)
{
    QJsonArray accounts;
    for (const qint64 account : order.passedOverAccounts)
        accounts.append(keyText(account));
    QJsonArray histories;
    for (auto history = order.histories.cbegin(); history != order.histories.cend(); ++history)
        histories.append(QJsonArray{keyText(history.key()), encoded(history.value())});
    return line(
        {encoded(order.passedOverMails), accounts, histories, encoded(order.plainMails), order.isOneAtATime});
}

Order decodeOrder(const QByteArray &line)
{
    const QJsonArray parts = QJsonDocument::fromJson(line).array();
    Order order;
    order.passedOverMails = decodedMails(parts.at(0).toArray());
    order.plainMails = decodedMails(parts.at(3).toArray());
    const QJsonArray accounts = parts.at(1).toArray();
    for (const auto &account : accounts)
        order.passedOverAccounts.insert(account.toString().toLongLong());
    const QJsonArray histories = parts.at(2).toArray();
    for (const auto &history : histories)
        order.histories.insert(history[0].toString().toLongLong(), decodedHistory(history[1].toArray()));
    order.isOneAtATime = parts.at(4).toBool();
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
    if (kind == "history"_L1)
        return AccountLearnt{key, decodedHistory(array.at(2).toArray())};
    if (kind == "mail"_L1)
        return MailBegins{{key, text}};
    if (kind == "end"_L1)
        return MailEnds{};
    if (kind == "characters"_L1)
        return CharactersReplaced{array.at(1).toString()};
    if (kind == "failed"_L1)
        return PassFailed{array.at(1).toBool(), text};
    return std::nullopt;
}

} // namespace CollectorProtocol
