#pragma once

#include "foundation/TaskGuard.h"
#include "modem/ModemControl.h"

/// One message as the modem control delivers it.
struct ReceivedMessage {
    QString sender; ///< as delivered, international numbers with "+"
    QString text;
    QString receiveTime; ///< as delivered: shown and stored, never parsed
};

/// Deals with each message that arrives: a command goes to the interpreter, any other message into
/// SMS_SIMReceive and the log. The modem's copy goes only after that.
class InboundMessageHandler
{
public:
    InboundMessageHandler(DatabaseSession &session, OperatorConsole &console, FaultLog &faults,
                          TaskGuard &guard, ModemControl &modem)
        : m_session(session), m_console(console), m_faults(faults), m_guard(guard), m_modem(modem)
    {
    }

    /// The modem control's event of that name: reads the one message and tells the control its fate.
    void messageArrived();

    /// What is to become of a message that was read with this status. Throws nothing: a fault is told to the
    /// operator once; a message that the database refuses is Refused, one that meets no database has to Wait.
    [[nodiscard]] MessageFate handle(qint16 readStatus, const ReceivedMessage &message);

private:
    [[nodiscard]] MessageFate deliver(const ReceivedMessage &message);
    void store(const ReceivedMessage &message);
    void insert(const ReceivedMessage &message);
    [[nodiscard]] bool isStored(const ReceivedMessage &message);

    DatabaseSession &m_session;
    OperatorConsole &m_console;
    FaultLog &m_faults;
    TaskGuard &m_guard;
    ModemControl &m_modem;
    bool m_mayBeStored = false; // the connection was lost over the message that comes again now
};

/// Where answers to a sender go: its number without one leading "+" and then without a leading "86".
[[nodiscard]] QString replyAddress(const QString &sender);
