#pragma once

#include "incoming/ReceivedMessage.h"

#include <QList>
#include <QString>

/// The spool: messages that the database refuses and that the modem cannot keep, in a file, one a line as
/// JSON. The file is replaced as a whole and synced, so that a kill leaves the old or the new one.
class RefusedMessages
{
public:
    /// Reads the file. fileName "" = no spool: add() is refused. A line that cannot be read is kept as it is.
    explicit RefusedMessages(QString fileName);

    /// Oldest first.
    [[nodiscard]] const QList<ReceivedMessage> &messages() const { return m_messages; }
    /// True when the message is in the file and synced; one that is there already is not added again.
    [[nodiscard]] bool add(const ReceivedMessage &message);
    /// Takes a message out after it was stored elsewhere. One that comes again because the file could not be
    /// written is recognised by its store.
    void remove(const ReceivedMessage &message);

private:
    [[nodiscard]] bool save() const;

    QString m_fileName;
    QList<ReceivedMessage> m_messages;
    QList<QByteArray> m_unreadableLines;
};
