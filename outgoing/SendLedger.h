#pragma once

#include "platform/clock/Clock.h"
#include "platform/fault/Fault.h"
#include "platform/files/FileError.h"

#include <QString>
#include <optional>
#include <vector>

/// When the newest SMS were handed to the modem, in a file that a kill leaves right: each is written and synced before
/// its hand-over, so that a kill can only count one too many. One line an SMS: its time in milliseconds since 1970
/// (UTC) and a checksum, as "1773299289000 5f2c"; before them the epoch of the steady clock that they were taken by and
/// what the wall clock was ahead of it, as "6f1d... 1773299000000 9d07". The file holds twice the times kept at most,
/// then it is replaced.
/// Rejected: a table of the office's database, which is not ours and may be away or locked when a message goes; and
/// the sends that it holds already, SMS_ResultDetail, which others clear and where a day's count reads every row. A
/// line with its sync takes 5 ms on a virtual machine's disk, an SMS some seconds.
///
/// Distances are told by the steady clock. A time from before the machine's start can be taken by the wall clock alone,
/// and lies before the reading at the latest. What is stored is never made older: a wrong clock is set right again one
/// day.
class SendLedger
{
public:
    /// What reading the file found.
    enum class Found { Intact, Damaged };

    /// kept: how many of the newest times matter; the rest is forgotten.
    SendLedger(const Clock &clock, QString fileName, qsizetype kept)
        : m_clock(&clock), m_fileName(std::move(fileName)), m_kept(kept)
    {
    }

    /// Reads the file; none is an empty ledger. A last line that is not whole was being written when the power
    /// went, and counts as an SMS of now. A damaged file, and one that was emptied, is begun anew at its worst case:
    /// all the times kept are now. Throws Fault when the file cannot be read or written.
    [[nodiscard]] Found read();
    /// The same, and writes nothing.
    [[nodiscard]] Found look();

    /// An SMS is about to be handed over. Throws Fault, and it must not go, when it cannot be written.
    void add();

    /// To be called now and then: looks whether the wall clock was set. Throws Fault when the file cannot be written.
    void noteClock();

    /// When the SMS that is n-th newest was sent, 1 the newest, on the steady clock; nothing when there were fewer.
    [[nodiscard]] std::optional<std::chrono::milliseconds> newest(qsizetype n) const;

private:
    struct Sent {
        std::chrono::milliseconds wall; ///< since 1970, as it was then
        std::chrono::milliseconds steady;
        bool isSure = true; ///< false: the steady time is as far as the wall clock tells
    };

    [[nodiscard]] Sent sentNow() const;
    [[nodiscard]] std::chrono::milliseconds wall() const;
    [[nodiscard]] QByteArray lineOf(const Sent &sent) const;
    [[nodiscard]] QByteArray firstLine() const;
    void placeUnsure();
    void append(const QByteArray &line);
    void replace();
    void require(const FileError &error) const;

    const Clock *m_clock;
    QString m_fileName;
    qsizetype m_kept;
    std::vector<Sent> m_sent;                    // ascending on the steady clock
    std::chrono::milliseconds m_readAt{0};       // on the steady clock
    std::chrono::milliseconds m_wallToSteady{0}; // what the wall clock was ahead when it was looked at
    qint64 m_size = 0;                           // octets of the file, by what we wrote
};
