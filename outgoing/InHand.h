#pragma once

#include "modem/HandOver.h"
#include "outgoing/MessageStatus.h"
#include "platform/files/Files.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <optional>

/// What is in hand between the modem and the queue, which share no transaction: a file that a kill leaves right, so that
/// whatever the number of kills no message is sent more than twice. Before a text goes over it is written and synced;
/// what became of it is written without a sync, which outlives a kill, until the row's status is.
///
/// One line a change, the last one of a row counts: checksum, OAID, digest of number and text, state, part/parts, and
/// how many earlier hand-overs ended unknown; behind a failure its cause:
///     5f2c 4711 a94a8fe5ccb19ba6 over 1/1 0
/// Another row that bears the OAID by now (deleted, numbered anew, another database) has another digest. A file of
/// 64 KiB is replaced by what still counts. Rejected: a table of the office's, which may be away when a text goes.
class InHand
{
public:
    struct Note {
        enum class State {
            HandedOver, ///< and no result yet
            Waits,      ///< for another try, earlier ones having ended unknown
            Sent,       ///< the row's status is still to be written, as with
            Failed,
        };
        qint64 id = 0; ///< OAID
        QByteArray digest;
        State state = State::HandedOver;
        HandOver::Part part; ///< that went over last
        int doubts = 0;      ///< earlier hand-overs of which nobody knows the end
        QString cause;       ///< of Failed
        QString number;      ///< "" until the row has been seen in this run
        bool isOfThisRun = false;

        [[nodiscard]] bool hasResult() const { return state == State::Sent || state == State::Failed; }
    };

    /// fileName: "" keeps it in memory alone.
    explicit InHand(QString fileName) : m_fileName(std::move(fileName)) {}

    /// Reads what an earlier run left, once; a line that is damaged or torn costs itself. Throws Fault when the file
    /// cannot be read; then nothing may be sent.
    void read();
    /// True when a text of an earlier run went over and its result is not known.
    [[nodiscard]] bool isInDoubt() const;
    /// lateResult: what the modem told of that text afterwards, true when the network has it.
    void resolve(std::optional<bool> lateResult);

    /// The rows to be looked up in the queue: results that were not written yet, and all of an earlier run. Those
    /// looked up longest ago come first.
    [[nodiscard]] QList<qint64> unsettled() const;
    /// True while the row's status could not be written, or of an earlier run it is not known.
    [[nodiscard]] bool isHeld(qint64 id) const;
    /// True while a status of a row to this number could not be written.
    [[nodiscard]] bool isNumberHeld(const QString &number) const;
    /// The note of that row was made, or its row seen, in this run.
    [[nodiscard]] bool isOfThisRun(qint64 id) const;

    /// From now on this row is in hand. What is noted of its OAID counts if it was this row.
    void take(qint64 id, const QString &number, const QString &text);
    /// What is noted of the row in hand.
    [[nodiscard]] const Note *noted() const { return find(m_row.id); }

    /// A text of the row in hand is about to go over. Throws Fault when that cannot be written; it must not go then.
    void handingOver(const HandOver::Part &part);
    /// The network has it, or it does not.
    void handedOver(const HandOver::Part &part, bool isAccepted);
    /// The end of the row in hand, until forget(). What cannot be written is written before anything else goes over.
    void noteResult(MessageStatus status, const QString &cause);
    /// The row has its status, or is no more.
    void forget(qint64 id);

private:
    [[nodiscard]] const Note *find(qint64 id) const;
    [[nodiscard]] static QByteArray lineOf(const Note &note, bool isForgotten = false);
    void readLine(const QByteArray &line);
    void put(const Note &note);
    void remove(qint64 id);
    FileError write(const QByteArray &line, Sync sync);
    void writeSoon(const QByteArray &line);

    QString m_fileName;
    LineFile m_file;
    bool m_isRead = false;
    bool m_isOpen = false;
    QByteArray m_unwritten; // lines
    QList<Note> m_notes;    // those changed last at the end
    Note m_row;             // in hand
};
