#include "outgoing/InHand.h"

#include "platform/fault/Fault.h"

#include <QCryptographicHash>
#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace
{

using Note = InHand::Note;

constexpr qint64 mostOctets = 65536;
constexpr std::array stateWords{"over", "waits", "sent", "failed"}; // as Note::State
constexpr auto doneWord = "done";

QByteArray digestOf(const QString &number, const QString &text)
{
    return QCryptographicHash::hash((number + QChar(u'\0') + text).toUtf8(), QCryptographicHash::Sha256)
        .first(8)
        .toHex();
}

QByteArray checked(const QByteArray &words)
{
    return QByteArray::number(qChecksum(words), 16).rightJustified(4, '0') + ' ' + words + '\n';
}

} // namespace

QByteArray InHand::lineOf(const Note &note, bool isForgotten)
{
    const char *state = isForgotten ? doneWord : stateWords.at(size_t(note.state));
    return checked(QByteArray::number(note.id) + ' ' + note.digest + ' ' + state + ' ' +
                   QByteArray::number(note.part.number) + '/' + QByteArray::number(note.part.of) + ' ' +
                   QByteArray::number(note.doubts) +
                   (note.cause.isEmpty() ? QByteArray() : ' ' + note.cause.simplified().toUtf8()));
}

void InHand::readLine(const QByteArray &line)
{
    constexpr qsizetype fields = 6;
    const QList<QByteArray> words = line.split(' ');
    if (words.size() < fields || checked(line.mid(words.first().size() + 1)) != line + '\n')
        return;
    Note note;
    note.id = words[1].toLongLong();
    remove(note.id);
    if (words[3] == doneWord)
        return;
    const auto state = std::find(stateWords.begin(), stateWords.end(), words[3]) - stateWords.begin();
    if (state == std::ssize(stateWords))
        return;
    note.digest = words[2];
    note.state = Note::State(state);
    note.part = {words[4].split('/').first().toInt(), words[4].split('/').last().toInt()};
    note.doubts = words[5].toInt();
    note.cause = QString::fromUtf8(words.mid(fields).join(' '));
    m_notes.append(note);
}

void InHand::read()
{
    if (m_isRead || m_fileName.isEmpty())
        return;
    const FileContent file = readWhole(m_fileName);
    if (file.error.isError() && !file.error.isAbsence())
        throw Fault(u"在途短信记录 %1 不能读取：%2"_s.arg(m_fileName, file.error.text()));
    m_isRead = true;
    // A last line without its LF was being written when the power went: its text did not go over.
    const QList<QByteArray> lines = file.octets.left(file.octets.lastIndexOf('\n') + 1).split('\n');
    for (const QByteArray &line : lines)
        readLine(line);
}

bool InHand::isInDoubt() const
{
    return std::ranges::any_of(
        m_notes, [](const Note &note) { return note.state == Note::State::HandedOver && !note.isOfThisRun; });
}

void InHand::resolve(std::optional<bool> lateResult)
{
    for (qsizetype i = m_notes.size() - 1; i >= 0; --i) {
        Note &note = m_notes[i];
        if (note.state != Note::State::HandedOver || note.isOfThisRun)
            continue;
        const auto late = std::exchange(lateResult, {}); // of what went over last
        if (late == true && note.part.number == note.part.of) {
            note.state = Note::State::Sent;
            writeSoon(lineOf(note));
            continue;
        }
        note.state = Note::State::Waits;
        if (late != false || note.part.number > 1)
            ++note.doubts;
    }
}

QList<qint64> InHand::unsettled() const
{
    QList<qint64> ids;
    for (const Note &note : m_notes) {
        if (note.hasResult() || !note.isOfThisRun)
            ids += note.id;
    }
    return ids;
}

bool InHand::isHeld(qint64 id) const
{
    const Note *note = find(id);
    return note != nullptr && (note->hasResult() || !note->isOfThisRun);
}

bool InHand::isNumberHeld(const QString &number) const
{
    return std::ranges::any_of(m_notes,
                               [&](const Note &note) { return note.hasResult() && note.number == number; });
}

bool InHand::isOfThisRun(qint64 id) const
{
    const Note *note = find(id);
    return note != nullptr && note->isOfThisRun;
}

void InHand::take(qint64 id, const QString &number, const QString &text)
{
    m_row = {};
    m_row.id = id;
    m_row.digest = digestOf(number, text);
    m_row.number = number;
    m_row.isOfThisRun = true;
    const Note *note = find(id);
    if (note == nullptr)
        return;
    if (note->digest != m_row.digest) {
        forget(id);
        return;
    }
    Note seen = *note;
    seen.number = number;
    seen.isOfThisRun = true;
    put(seen);
    m_row.doubts = seen.doubts;
}

void InHand::handingOver(const HandOver::Part &part)
{
    Note note = m_row;
    note.part = part;
    if (const FileError error = write(lineOf(note), Sync::Awaited); error.isError())
        throw Fault(u"在途短信记录 %1 不能写入：%2"_s.arg(m_fileName, error.text()));
    put(note);
}

void InHand::handedOver(const HandOver::Part &part, bool isAccepted)
{
    if (isAccepted && part.number == part.of) {
        noteResult(MessageStatus::Sent, {});
    } else if (!isAccepted && part.number == 1 && m_row.doubts > 0) {
        Note note = m_row;
        note.state = Note::State::Waits;
        put(note);
        writeSoon(lineOf(note));
    } else if (!isAccepted && part.number == 1) {
        forget(m_row.id);
    }
    // Of a message that is out in part nothing changes: its parts are not for another two tries.
}

void InHand::noteResult(MessageStatus status, const QString &cause)
{
    Note note = m_row;
    note.state = status == MessageStatus::Sent ? Note::State::Sent : Note::State::Failed;
    note.cause = cause;
    const Note *known = find(note.id);
    const bool isNews = known == nullptr || known->state != note.state;
    put(note);
    if (isNews)
        writeSoon(lineOf(note));
}

void InHand::forget(qint64 id)
{
    if (const Note *note = find(id)) {
        writeSoon(lineOf(*note, true));
        remove(id);
    }
}

const InHand::Note *InHand::find(qint64 id) const
{
    const auto note = std::ranges::find(m_notes, id, &Note::id);
    return note == m_notes.cend() ? nullptr : &*note;
}

void InHand::put(const Note &note)
{
    remove(note.id);
    m_notes.append(note);
}

void InHand::remove(qint64 id)
{
    m_notes.removeIf([id](const Note &note) { return note.id == id; });
}

void InHand::writeSoon(const QByteArray &line)
{
    if (write(line, Sync::NotAwaited).isError())
        m_unwritten += line;
}

FileError InHand::write(const QByteArray &line, Sync sync)
{
    if (m_fileName.isEmpty())
        return {};
    if (!m_isOpen || m_file.size() > mostOctets) {
        QByteArray whole;
        for (const Note &note : std::as_const(m_notes))
            whole += lineOf(note);
        // Until the first line it is not known how large the file is, and one that a year has filled is not kept.
        if (const FileError error = replaceSynced(m_fileName, whole); error.isError())
            return error;
        if (const FileError error = m_file.open(m_fileName, FileMode::secret); error.isError())
            return error;
        m_isOpen = true;
        m_unwritten.clear();
    }
    const FileError error = m_file.append(m_unwritten + line, sync);
    if (!error.isError())
        m_unwritten.clear();
    return error;
}
