#pragma once

#include "platform/fault/Fault.h"
#include "platform/files/FileError.h"

#include <QDateTime>
#include <QString>
#include <vector>

/// The times of the newest messages handed to the modem, in a file that a kill leaves right: each is written and
/// synced before its hand-over, so that a kill can only count one too many. One line a message: its time in
/// milliseconds since 1970 (UTC) and a checksum. The file holds twice the times kept at most.
class SendLedger
{
public:
    /// What reading the file found.
    enum class Found { Intact, Damaged };

    /// kept: how many of the newest times matter; the rest is forgotten.
    SendLedger(QString fileName, qsizetype kept) : m_fileName(std::move(fileName)), m_kept(kept) {}

    /// Reads the file; none is an empty ledger. A last line that is not whole was being written when the power
    /// went, and counts as a message of now. A damaged file is begun anew at its worst case: all the times kept
    /// are now. Throws Fault when the file cannot be read or written.
    [[nodiscard]] Found read(const QDateTime &now);

    /// A message is about to be handed over. Throws Fault, and the message must not go, when it cannot be written.
    void add(const QDateTime &now);
    /// The last one was not handed over after all. A file that cannot be written keeps it.
    void takeBackLast() noexcept;

    /// A clock that was set back: what lies in the future was sent now, at the latest.
    void noteClock(const QDateTime &now);

    /// The time of the message that is n-th newest, 1 the newest; nothing when there were fewer.
    [[nodiscard]] std::optional<QDateTime> newest(qsizetype n) const;

private:
    void append(const QByteArray &line);
    void replace();
    void require(const FileError &error) const;

    QString m_fileName;
    qsizetype m_kept;
    std::vector<qint64> m_times; // ascending
    qint64 m_size = 0;           // octets of the file, by what we wrote
};
