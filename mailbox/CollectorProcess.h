#pragma once

#include "mailbox/MailTrace.h"
#include "platform/registry/Registry.h"

/// The process of the collector from its beginning to its end: confines itself, reads its state from standard input,
/// runs one pass on a database session of its own, and reports on standard output. Returns the exit status, 0
/// also for a pass that failed and said so. keptMailsFile: see KeptMails.
[[nodiscard]] int runCollector(const Registry &registry, const MailTrace &trace,
                               const QString &keptMailsFile);
