#pragma once

#include "database/Connection.h"

#include <QDateTime>

/// What --explain asks about.
struct Question {
    enum class About {
        Waiting, ///< a row of SMS_WaitToSend
        Queue,   ///< a row of SMS_Queues
        Sent,    ///< what became of a row of SMS_SendList
    };
    About about = About::Waiting;
    qint64 id = 0;  ///< OAID; of what was sent SOAID, -1 for single messages
    QString number; ///< of what was sent: to this number alone
};

/// In words, a fact a line: where the message is on its way, why it waits, or what became of it. Reads only. Why a
/// message failed no table tells: it is looked up in the server's log, the file before its last rotation included.
/// logFile: "" for none. Throws DatabaseFault.
[[nodiscard]] QStringList explain(Connection &connection, const Question &question, const QDateTime &now,
                                  const QString &logFile);
