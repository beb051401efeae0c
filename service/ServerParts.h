#pragma once

#include "incoming/MessageFile.h"
#include "mailbox/Collector.h"
#include "mailbox/MailTrace.h"

#include <QString>

class Clock;
class DatabaseSession;
class ModemControl;
class Registry;

/// The outside world as the service needs it; all of it outlives the service.
struct ServerParts {
    const Clock &clock;
    Registry &registry;
    DatabaseSession &session;
    ModemControl &modem;
    MailTrace mailTrace = {};
    /// The program that collects the external mail.
    Collector::Program collector = {};
    QString sendLedgerFile = {};    ///< of the send limits; "" = they are not kept
    QString inHandFile = {};        ///< what is between the modem and the queue; "" = kept in memory alone
    MessageFiles messageFiles = {}; ///< of received messages
    /// Where the figures for a monitoring system go; "" for none.
    QString metricsFile = {};
    /// Where the server's own files lie.
    QStringList folders = {};
};
