#pragma once

#include "modem/ModemControl.h"
#include "tests/support/ManualClock.h"
#include "tests/support/SimulatorProcess.h"

#include <QTemporaryDir>

/// The modem control on the simulator's line, with everything that it says, raises and writes.
class ModemAtWork
{
public:
    /// options: of the simulator.
    explicit ModemAtWork(const QStringList &options = {});

    /// Does a step and returns what came otherwise than written, "" when nothing did.
    ///   ! COMMAND                for the simulator
    ///   sent TEXT | ...          what the network took, the parts of each put together
    ///   open [RESULT]            Ok when no result is named; Unregistered is Ok without a network
    ///   close                    send NUMBER TEXT [-> RESULT or KIND OF FAULT]
    ///   codes CODE ... -> RESULT likewise, one message for each +CMS ERROR code
    ///   signal ANSWER -> DBM     asks how strong the signal is; the modem answers exactly so
    ///   limit NAME MS            a time limit, before the first open
    ///   centre NUMBER            the service centre; country CODE, speed BAUD: likewise
    ///   fate FATE ...            of the next messages, - for none told, Close to close the port in the handler;
    ///                            every other message is handled
    ///   rest TEXT                an earlier run has handled the message whose only part here has this text
    ///   clock SECONDS            goes on by that
    /// These wait until it is so:
    ///   port open|closed         baud BAUD
    ///   received TEXT | ...      messages since the last such step, ? for one that cannot be read
    ///   last SENDER | TIME       of the newest message
    ///   heard LINE ...           what was written since the last such step, * for anything
    ///   places MEMORY,INDEX ...  what the simulator's stores hold
    ///   told TEXT | ...          notices since the last such step, * for anything
    ///   because TEXT             why the last message was refused or could not be tried
    ///   signs none|some          of life from inside long sends
    ///   kept HEX ...             octets in the file of unreadable messages
    QString perform(const QString &step);
    /// What is wrong at the end of every transcript.
    QString leftOver() const;

private:
    struct Received {
        QString sender;
        QString time;
        QString text;
    };

    ModemControl &control();
    void handle();
    void noteSent(QByteArrayView octets);
    QString open();
    QString send(const QString &rest);
    QString found(const QString &verb);

    SimulatorProcess m_simulator;
    QTemporaryDir m_folder;
    ManualClock m_clock{QDateTime(QDate(2026, 11, 21), QTime(8, 0))};
    ModemLimits m_limits;
    std::unique_ptr<ModemControl> m_control;
    QStringList m_notices;
    QList<Received> m_received;
    QStringList m_written;
    QString m_line; ///< being written
    QStringList m_fates;
    Received m_last;
    QString m_cause;
    bool m_hasSigns = false;
};
