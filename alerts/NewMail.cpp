#include "alerts/NewMail.h"

#include "outgoing/MessagePieces.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

/// A reading ends early rather than fill the memory; the next pass, whose watermarks are higher, goes on
/// from there.
constexpr size_t maximumMails = 200'000;
constexpr size_t maximumNewMails = 5'000'000;

} // namespace

NewMail::NewMail(Connection &connection, AlertRecipients &recipients, MailHistory &history,
                 const std::function<bool()> &stopRequested)
    : m_recipients(recipients.recipients)
{
    const auto lowestWatermark = indexRecipients();
    if (!lowestWatermark)
        return;
    // The end is fixed before anything is read: a mail that arrives meanwhile waits for the next pass.
    const auto highest = connection.firstValue(u"select max(VOID) from VO_Email"_s, {});
    if (!highest || highest->isNull())
        return;
    const auto noteFor = [this](bool Service::*isWanted) {
        return [this, isWanted](const Statement &row) { noteMail(row, isWanted); };
    };
    const auto mayGoOn = [&] {
        return m_mails.size() < maximumMails && m_newMailCount < maximumNewMails && !stopRequested();
    };
    const auto read = history.read(connection, {*lowestWatermark, highest->toLongLong()},
                                   noteFor(&Service::isReceived), mayGoOn);
    if (const auto unreadAfter = chooseUnread(history, read.after)) {
        const qint64 end =
            history.readWhole(connection, {*unreadAfter, read.after}, noteFor(&Service::isChosen), mayGoOn);
        if (end < read.after)
            leaveBehind(end);
    }
    sortNewMails();
}

std::optional<qint64> NewMail::indexRecipients()
{
    std::optional<qint64> lowestWatermark;
    for (size_t i = 0; i < m_recipients.size(); ++i) {
        bool isIndexed = false;
        for (const Service &service : m_recipients[i].services) {
            if (!service.isReceived)
                continue;
            lowestWatermark = qMin(lowestWatermark.value_or(service.watermark), service.watermark);
            if (!std::exchange(isIndexed, true))
                m_index.add(m_recipients[i].userName, static_cast<int>(i));
        }
    }
    return lowestWatermark;
}

/// Chooses the services that are to be read whole, and forgets what of their older mails was met. Returns
/// their lowest watermark, when there are any.
std::optional<qint64> NewMail::chooseUnread(const MailHistory &history, qint64 readAfter)
{
    std::optional<qint64> lowestWatermark;
    for (AlertRecipients::Recipient &recipient : m_recipients) {
        for (const MailKind kind : mailKinds) {
            Service &service = recipient.service(kind);
            if (!service.isReceived || service.watermark >= readAfter ||
                (service.newMails.empty() && history.wasRead(recipient.userName, kind, service.watermark)))
                continue;
            if (history.mustWait(recipient.userName, kind)) {
                service.newMails.clear();
                service.isWhole = false;
                continue;
            }
            std::erase_if(service.newMails,
                          [&](quint32 place) { return m_mails[place].number <= readAfter; });
            service.isChosen = true;
            lowestWatermark = qMin(lowestWatermark.value_or(service.watermark), service.watermark);
        }
    }
    return lowestWatermark;
}

/// Mails had to be left unread from there on: the chosen services' mails behind them wait with them.
void NewMail::leaveBehind(qint64 readUpTo)
{
    for (AlertRecipients::Recipient &recipient : m_recipients) {
        for (Service &service : recipient.services) {
            if (!service.isChosen)
                continue;
            std::erase_if(service.newMails, [&](quint32 place) { return m_mails[place].number > readUpTo; });
            service.isWhole = false;
        }
    }
}

/// The newest were read first.
void NewMail::sortNewMails()
{
    for (AlertRecipients::Recipient &recipient : m_recipients) {
        for (Service &service : recipient.services)
            std::ranges::sort(service.newMails, {}, [this](quint32 place) { return m_mails[place].number; });
    }
}

/// isWanted: whose mails they are noted for.
void NewMail::noteMail(const Statement &row, bool Service::*isWanted)
{
    if (row.value(1).isNull())
        return;
    const qint64 number = row.value(0).toLongLong();
    const auto kind = static_cast<MailKind>(row.value(1).toInt());
    const auto place = static_cast<quint32>(m_mails.size());
    bool isNew = false;
    m_index.find(row.value(2).toString(), [&](int recipient) {
        Service &service = m_recipients[static_cast<size_t>(recipient)].service(kind);
        const bool isKnown = !service.newMails.empty() && service.newMails.back() == place;
        if (!(service.*isWanted) || number <= service.watermark || isKnown)
            return;
        service.newMails.push_back(place);
        ++m_newMailCount;
        isNew = true;
    });
    if (!isNew)
        return;
    // An internal sender is a name to be looked up: whole. An external one is shown.
    const QString from = row.value(3).toString();
    m_mails.push_back({number, kind == MailKind::Internal ? from : from.left(maximumPieceLength),
                       row.value(4).toString().left(maximumPieceLength)});
}
