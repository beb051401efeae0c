#pragma once

#include "foundation/TaskGuard.h"
#include "incoming/MessageFile.h"
#include "incoming/ReplyLimit.h"

#include <QElapsedTimer>

class ModemControl;

/// Deals with each message that arrives: a command goes to the interpreter, any other message into
/// SMS_SIMReceive and the log. The modem's copy goes only after that.
class InboundMessageHandler
{
public:
    InboundMessageHandler(DatabaseSession &session, OperatorConsole &console, FaultLog &faults,
                          TaskGuard &guard, const Clock &clock, ModemControl &modem,
                          const MessageFiles &files = {})
        : m_session(session),
          m_console(console),
          m_faults(faults),
          m_guard(guard),
          m_modem(modem),
          m_replyLimit(clock),
          m_spool(files.spool),
          m_obeyed(files.obeyed, mostObeyed)
    {
    }

    /// How many confirmations a number gets in an hour, from now on; 0: no limit.
    void setRepliesPerHour(int most) { m_replyLimit.set(most); }

    /// The modem control's event of that name: reads the one message and tells the control its fate.
    void messageArrived();

    /// For the modem control's rest test: whether these parts are left of a message that an earlier run stored.
    [[nodiscard]] bool isRest(const QString &sender, const QString &receiveTime,
                              const QStringList &fragments);

    /// Tries the spooled messages again, at the first call and then after waits that double up to an hour. To
    /// be called at each scan interval, inside the guard. True when it has stored the last of them. Throws
    /// DatabaseFault when the database is gone.
    bool retrySpooled();

    /// What is to become of a message that was read with this status. Throws nothing: a fault is told to the
    /// operator once; a message that the database refuses is Refused, or Handled once it is spooled where the
    /// modem cannot keep it; one that meets no database has to Wait.
    [[nodiscard]] MessageFate handle(qint16 readStatus, const ReceivedMessage &message);

private:
    static constexpr qsizetype mostObeyed = 1000; // more than any store holds

    [[nodiscard]] MessageFate deliver(const ReceivedMessage &message);
    void obey(const QString &orderName, const ReceivedMessage &message);
    void store(const ReceivedMessage &message);
    void tellFile(const MessageFile &file);
    [[nodiscard]] bool isStored(const ReceivedMessage &message);
    [[nodiscard]] bool isRestOfStored(const ReceivedMessage &message, std::chrono::minutes window);

    DatabaseSession &m_session;
    OperatorConsole &m_console;
    FaultLog &m_faults;
    TaskGuard &m_guard;
    ModemControl &m_modem;
    ReplyLimit m_replyLimit;
    MessageFile m_spool;  // refused by the database and not kept by the modem
    MessageFile m_obeyed; // the commands: nothing in the database tells that they were carried out
    QElapsedTimer m_sinceSpoolRetry;
    std::chrono::seconds m_spoolWait{0};
    bool m_mayBeStored = false; // the connection was lost over the message that comes again now
};

/// Where answers to a sender go: its number without one leading "+" and then without a leading "86".
[[nodiscard]] QString replyAddress(const QString &sender);
