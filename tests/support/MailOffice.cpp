#include "tests/support/MailOffice.h"

#include "tests/support/DovecotServer.h"

using namespace Qt::StringLiterals;

void MailOffice::account(int key, const QString &user, int port, const QVariant &isBaoLiu,
                         const QString &login, const QVariant &password)
{
    oa(u"insert into SA_email (OAID, UserName, POPIP, PopPort, EUsername, EPassword, IsBaoLiu)"
       " values (?, ?, '127.0.0.1', ?, ?, ?, ?)"_s,
       {key, user, port, login, password.isNull() ? DovecotServer::password() : password, isBaoLiu});
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

QStringList MailOffice::mails(const QString &columns)
{
    return rows(u"select %1 from VO_Email order by VOID"_s.arg(columns));
}

QStringList MailOffice::attachments()
{
    return rows(u"select EmailID, FileName, FileTitle, FileType, hex(FileContent)"
                " from VO_EmailAttachments order by OAID"_s);
}

QByteArray mailWith(const QByteArray &headers, const QByteArray &body)
{
    return "From: A <a@example.com>\n" + headers + "\n\n" + body;
}
