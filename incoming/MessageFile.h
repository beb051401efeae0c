#pragma once

#include "incoming/ReceivedMessage.h"
#include "platform/files/FileError.h"

#include <QList>
#include <QString>
#include <limits>

/// The files of received messages that the server keeps; "" = none.
struct MessageFiles {
    QString spool = {};  ///< what the database refuses and the modem cannot keep
    QString obeyed = {}; ///< commands that were carried out
};

/// Received messages in a file of the server's own, one a line as JSON. The file is replaced as a whole and
/// synced, so that a kill leaves the old or the new one.
class MessageFile
{
public:
    /// Reads the file. fileName "" = none: add() is refused. A line that cannot be read is kept as it is. most:
    /// the oldest ones beyond it are dropped.
    explicit MessageFile(QString fileName, qsizetype most = std::numeric_limits<qsizetype>::max());

    [[nodiscard]] const QString &fileName() const { return m_fileName; }
    /// Why the file could not be read or written last; it is tried again at the next call.
    [[nodiscard]] const FileError &error() const { return m_error; }

    /// True when another hand had changed the file, which holds everything again.
    [[nodiscard]] bool isRestored();
    /// Oldest first. Of a file that cannot be read: none, until it can.
    [[nodiscard]] const QList<ReceivedMessage> &messages();
    /// The message as the file has it.
    [[nodiscard]] std::optional<ReceivedMessage> find(const ReceivedMessage &message);
    /// True when the message is in the file and synced, in the place of one that was there already.
    [[nodiscard]] bool put(const ReceivedMessage &message);
    /// Takes a message out after it was stored elsewhere. One that comes again because the file could not be
    /// written is recognised by its store.
    void remove(const ReceivedMessage &message);

private:
    [[nodiscard]] bool load();
    [[nodiscard]] bool save();
    [[nodiscard]] QByteArray content() const;

    QString m_fileName;
    qsizetype m_most;
    QList<ReceivedMessage> m_messages;
    QList<QByteArray> m_unreadableLines;
    bool m_isRead = false; // before that it is not written: it holds what only it knows
    FileError m_error;
};
