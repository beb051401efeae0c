#include "mailbox/getPopMail.h"

#include "mailbox/AccountDownload.h"

namespace
{

void downloadAccounts(const QString &userName, CollectionPass &pass)
{
    pass.turns.beginUser(userName, pass);
    while (const auto turn = pass.turns.takeNext()) {
        if (pass.stopRequested())
            return;
        pass.turns.logInAhead(*turn, pass);
        turn->run();
    }
}

} // namespace

void getPopMail(const QString &strUserName, CollectionPass &pass) noexcept
{
    try {
        downloadAccounts(strUserName, pass);
    } catch (const DatabaseFault &fault) {
        if (!fault.concernsOneRow())
            pass.databaseGone = fault;
        pass.trace.note(fault.message());
    } catch (const std::exception &error) {
        pass.trace.note(QString::fromUtf8(error.what()));
    }
}
