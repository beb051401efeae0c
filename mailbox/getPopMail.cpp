#include "mailbox/getPopMail.h"

void getPopMail(const QString &strUserName, AccountTurns &turns) noexcept
{
    CollectionPass &pass = turns.pass();
    try {
        turns.beginUser(strUserName);
        while (const auto turn = turns.takeNext()) {
            if (pass.pop3.stopRequested())
                return;
            turns.logInAhead(*turn);
            turn->run();
        }
    } catch (const DatabaseFault &fault) {
        if (!fault.concernsOneRow())
            pass.databaseGone = fault;
        pass.trace.note(fault.message());
    } catch (const std::exception &error) {
        pass.trace.note(QString::fromUtf8(error.what()));
    }
}
