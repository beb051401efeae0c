#include "tests/support/MailOffice.h"

#include "tests/support/DovecotServer.h"

using namespace Qt::StringLiterals;

void MailOffice::account(int key, const QString &user, int port, const QVariant &isBaoLiu,
                         const QString &login, const QVariant &password)
{
    addRow(u"SA_email"_s, u"OAID, UserName, POPIP, PopPort, EUsername, EPassword, IsBaoLiu"_s,
           {key, user, u"127.0.0.1"_s, port, login, password.isNull() ? DovecotServer::password() : password,
            isBaoLiu});
}

void MailOffice::collect(const QString &user)
{
    MailCollection collection{session.Conn(), watch,
                              pop3,           {{}, [this](const QString &text) { notes += text; }},
                              kept,           accountBudget};
    collection.pop3.stopRequested = [this] { return console.stopRequested(); };
    notes.clear();
    getPopMail(user, collection);
    databaseGone = collection.databaseGone;
}

QStringList MailOffice::attachments()
{
    return table(u"VO_EmailAttachments"_s, u"EmailID, FileName, FileTitle, FileType, hex(FileContent)"_s);
}

QByteArray mailWith(const QByteArray &headers, const QByteArray &body)
{
    return "From: A <a@example.com>\n" + headers + "\n\n" + body;
}
