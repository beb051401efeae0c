#include "tests/support/MailOffice.h"

#include "tests/support/DovecotServer.h"

using namespace Qt::StringLiterals;

void MailOffice::account(int key, const QString &user, int port, const QVariant &isBaoLiu,
                         const QString &login)
{
    addRow(u"SA_email"_s, u"OAID, UserName, POPIP, PopPort, EUsername, EPassword, IsBaoLiu"_s,
           {key, user, u"127.0.0.1"_s, port, login, DovecotServer::password(), isBaoLiu});
}

ScriptedPop3Server &MailOffice::mailbox(const ScriptedPop3Server::Script &script, const QVariant &isBaoLiu,
                                        int key)
{
    ScriptedPop3Server &server = *m_servers.emplace_back(std::make_unique<ScriptedPop3Server>(script));
    account(key, u"user12"_s, server.port(), isBaoLiu);
    return server;
}

void MailOffice::collect(const QString &user)
{
    CollectionPass pass{session.Conn(), watch,
                        pop3,           {{}, [this](const QString &text) { notes += text; }},
                        kept,           accountBudget};
    pass.pop3.stopRequested = [this] { return console.stopRequested(); };
    notes.clear();
    pass.pop3.waiter = std::make_shared<Pop3Waiter>();
    AccountTurns turns(pass, {.slow = std::chrono::hours(1)}); // to the end, however slow
    getPopMail(user, turns);
    turns.finishPass();
    databaseGone = pass.databaseGone;
}

QStringList MailOffice::attachments()
{
    return table(u"VO_EmailAttachments"_s, u"EmailID, FileName, FileTitle, FileType, hex(FileContent)"_s);
}
