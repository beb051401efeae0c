#pragma once

#include "mailbox/MailTrace.h"
#include "platform/registry/Registry.h"

/// The process of the collector from its beginning to its end: confines itself, makes a pass on a database session of
/// its own for each state that comes on standard input, and reports on standard output. Ends with status 0 when
/// standard input does. keptMailsFile: see KeptMails.
[[noreturn]] int runCollector(const Registry &registry, const MailTrace &trace, const QString &keptMailsFile);
