#pragma once

#include "platform/files/Disk.h"
#include "platform/files/FileError.h"

#include <QString>
#include <chrono>

/// The program's own files: settings, ledger, spool, kept mails, figures, log. Reading and writing of each goes
/// through here; a write is done when it is proven, and one that fails leaves the file as it was.

/// Who may read a file that is made; one that is there keeps its mode.
namespace FileMode
{
constexpr mode_t secret = 0600;  ///< messages and passwords
constexpr mode_t logged = 0640;  ///< the owner's group reads it, too
constexpr mode_t figures = 0644; ///< numbers for everybody
constexpr mode_t folder = 0700;
} // namespace FileMode

/// Awaited: it lies on the disk, safe from a power cut. NotAwaited: safe from a kill.
enum class Sync { Awaited, NotAwaited };

struct FileContent {
    QByteArray octets;
    FileError error; ///< also when there is no file
};

/// All of a file, links followed. Not more than `most` octets: a larger one is an error.
[[nodiscard]] FileContent readWhole(const QString &name, qint64 most = qint64(1) << 28);

/// Puts a new file in the place of the old one: written beside it (NAME.new), synced, renamed. A link stays and the
/// file that it names is replaced. Owner, group and mode of the old one stay as far as we may give them; a new file
/// that root makes belongs to whom its folder belongs.
FileError replaceSynced(const QString &name, const QByteArray &octets, mode_t mode = FileMode::secret,
                        Sync sync = Sync::Awaited);

/// A file of lines that grows at its end. What follows its last LF is the rest of a write that was cut short, and is
/// cut off before the next one.
class LineFile
{
public:
    LineFile() = default;
    ~LineFile() { close(); }
    LineFile(const LineFile &) = delete;
    LineFile &operator=(const LineFile &) = delete;

    /// Makes it when there is none, synced with its folder. An open one goes on when that fails.
    FileError open(const QString &name, mode_t mode);
    /// Whole lines, each with its LF: all of them or none.
    FileError append(const QByteArray &lines, Sync sync);
    /// Octets, after the last append.
    [[nodiscard]] qint64 size() const { return m_size; }

private:
    FileError measure();
    FileError cutTornLine();
    void close();

    int m_file = -1;
    off_t m_size = 0;
    bool m_isRegular = false; ///< and not a pipe or a terminal
    bool m_mayBeTorn = true;
};

/// LineFile's work with the file open for this once. size: what it has then.
FileError appendSynced(const QString &name, const QByteArray &lines, qint64 *size = nullptr);

/// Makes a folder and those above it. One that is there already is no error.
FileError makeFolders(const QString &path);

/// A lock against other processes, as long as it lives: a kill ends it, whoever has the number of its process then.
class FileLock
{
public:
    enum class On {
        Folder,       ///< one that is there
        File,         ///< made when there is none; it stays
        ExistingFile, ///< to see whether another has it
    };

    /// Waits so long for another one to let go.
    FileLock(const QString &path, On on, std::chrono::milliseconds wait);
    ~FileLock();
    FileLock(const FileLock &) = delete;
    FileLock &operator=(const FileLock &) = delete;

    /// Why it was not taken.
    [[nodiscard]] const FileError &error() const { return m_error; }

private:
    int m_file;
    FileError m_error;
};
