#include "alerts/NewMailAlerts.h"

#include "alerts/AlertText.h"
#include "alerts/Watermarks.h"
#include "database/Transaction.h"
#include "foundation/UserDirectory.h"
#include "outgoing/MessageEnqueue.h"

using namespace Qt::StringLiterals;

namespace
{

/// Services of one pass whose rows somebody holds; beyond that it is a table.
constexpr int mostLocked = 10;

} // namespace

void NewMailAlerts::pass()
{
    m_history.beginPass();
    AlertRecipients all(m_session.Conn(), m_faults);
    const NewMail newMail(m_session.Conn(), all, m_history, [this] { return m_console.stopRequested(); });
    SenderNames senderNames;
    int locked = 0;
    for (const AlertRecipients::Account &account : all.accounts) {
        AlertRecipients::Recipient &recipient = all.recipients[account.recipient];
        for (const MailKind kind : mailKinds) {
            if (m_console.stopRequested())
                return;
            AlertRecipients::Service &service = recipient.service(kind);
            if (!service.isReceived || (!service.isWhole && service.newMails.empty()))
                continue;
            const QString task = AlertRecipients::taskOf(recipient.userName, kind);
            try {
                alert(newMail, account.mobile, recipient.userName, kind, service, senderNames);
                m_faults.over(task);
                if (service.isWhole)
                    m_history.noteRead(recipient.userName, kind, service.watermark);
            } catch (const DatabaseFault &fault) {
                const bool isLocked = fault.kind() == DatabaseFault::Kind::Locked;
                if (!fault.setsRowAside() || (isLocked && ++locked > mostLocked))
                    throw;
                m_faults.failed(task, fault.message());
                m_history.noteRefused(recipient.userName, kind);
            }
        }
    }
}

void NewMailAlerts::alert(const NewMail &newMail, const QString &mobile, const QString &userName,
                          MailKind kind, AlertRecipients::Service &service, SenderNames &senderNames)
{
    if (service.newMails.empty() && service.storedWatermark)
        return;
    Connection &connection = m_session.Conn();
    Transaction transaction(connection);
    qint64 watermark = service.watermark;
    QStringList texts;
    for (const quint32 place : service.newMails) {
        const NewMail::Mail &mail = newMail.mail(place);
        texts += alertText(kind, senderLabel(kind, mail.from, senderNames), mail.subject);
        watermark = mail.number;
    }
    sysSendSMS(connection, mobile, texts);
    Watermarks::store(connection, userName, kind, watermark);
    transaction.commit();
    for (qsizetype told = 0; told < texts.size(); ++told)
        m_console.count(OperatorConsole::Event::Alerted);
    // Another account under this user name finds nothing left to do.
    service.storedWatermark = watermark;
    service.watermark = watermark;
    service.newMails = {};
}

QString NewMailAlerts::senderLabel(MailKind kind, const QString &from, SenderNames &senderNames)
{
    if (kind == MailKind::External)
        return from;
    if (from == u"800"_s) // the OA system itself
        return u"服务器"_s;
    if (from.isNull())
        return {};
    auto name = senderNames.constFind(from);
    if (name == senderNames.cend())
        name = senderNames.insert(from, ShowUserName(m_session.Conn(), from).toString());
    return *name;
}
