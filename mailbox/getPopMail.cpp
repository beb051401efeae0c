#include "mailbox/getPopMail.h"

#include "mailbox/AccountDownload.h"

namespace
{

void downloadAccounts(const QString &userName, MailCollection &collection)
{
    collection.turns.beginUser(userName, collection);
    while (const auto turn = collection.turns.takeNext()) {
        if (collection.stopRequested())
            return;
        collection.turns.logInAhead(*turn, collection);
        turn->run();
    }
}

} // namespace

void getPopMail(const QString &strUserName, MailCollection &collection) noexcept
{
    try {
        downloadAccounts(strUserName, collection);
    } catch (const DatabaseFault &fault) {
        if (!fault.concernsOneRow())
            collection.databaseGone = fault;
        collection.trace.note(fault.message());
    } catch (const std::exception &error) {
        collection.trace.note(QString::fromUtf8(error.what()));
    }
}
