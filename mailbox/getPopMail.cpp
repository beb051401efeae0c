#include "mailbox/getPopMail.h"

void getPopMail(const QString &strUserName, AccountTurns &turns) noexcept
{
    CollectionPass &pass = turns.pass();
    try {
        for (const MailAccount &account : mailAccounts(pass.connection, strUserName)) {
            if (pass.isEnding())
                return;
            turns.add(std::make_unique<AccountDownload>(strUserName, account, pass));
        }
    } catch (const DatabaseFault &fault) {
        pass.noteFault(fault);
    } catch (const std::exception &error) {
        pass.trace.note(QString::fromUtf8(error.what()));
    }
}
