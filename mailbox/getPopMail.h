#pragma once

#include "mailbox/AccountTurns.h"

/// Copies the external mail of a user, account by account and message by message, into VO_Email and
/// VO_EmailAttachments, each message once. Then, unless the account keeps its copies, deletes from the server
/// what is stored. Begun here; turns.finishPass() goes through with it. Never throws and reports nothing but to the
/// trace: what fails is passed over and comes again in the next pass. Ends early between two messages when a stop is
/// requested.
void getPopMail(const QString &strUserName, AccountTurns &turns) noexcept;
