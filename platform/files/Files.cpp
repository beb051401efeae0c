#include "platform/files/Files.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QThread>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace
{

constexpr auto asMade = uid_t(-1); // owner or group that chown(2) leaves

/// A descriptor that is closed at the end at the latest.
class Opened
{
public:
    Opened(const QByteArray &path, int flags, mode_t mode = 0) : m_file(Disk::open(path, flags, mode)) {}
    ~Opened() { static_cast<void>(close()); }
    Opened(const Opened &) = delete;
    Opened &operator=(const Opened &) = delete;

    /// An errno with its sign turned when it could not be opened.
    [[nodiscard]] int file() const { return m_file; }
    [[nodiscard]] int take() { return std::exchange(m_file, -1); }
    [[nodiscard]] FileError error() const { return FileError(m_file); }
    FileError close() { return m_file < 0 ? FileError() : FileError(Disk::close(std::exchange(m_file, -1))); }

private:
    int m_file;
};

QByteArray folderOf(const QByteArray &path)
{
    const qsizetype slash = path.lastIndexOf('/');
    return slash < 0 ? "." : path.first(qMax<qsizetype>(1, slash));
}

/// The path behind symbolic links, whether or not there is a file.
QByteArray followed(const QString &name)
{
    constexpr int mostLinks = 40; // as many as the kernel follows
    QByteArray path = QFile::encodeName(name);
    for (int links = 0; links < mostLinks; ++links) {
        const auto target = Disk::linkTarget(path);
        if (!target)
            return path;
        path = target->startsWith('/') ? *target : folderOf(path) + '/' + *target;
    }
    return path;
}

FileError writeAll(int file, const QByteArray &octets)
{
    for (qsizetype written = 0; written < octets.size();) {
        const ssize_t count =
            Disk::write(file, octets.constData() + written, size_t(octets.size() - written));
        if (count < 0)
            return FileError(count);
        if (count == 0)
            return FileError(-ENOSPC);
        written += count;
    }
    return {};
}

FileError syncFolder(const QByteArray &path)
{
    const Opened folder(path, O_RDONLY | O_DIRECTORY);
    if (folder.error().isError())
        return folder.error();
    const int result = Disk::sync(folder.file());
    return FileError(result == -EINVAL ? 0 : result); // not every file system can
}

/// Of a file that is made.
FileError newStatus(const QByteArray &path, mode_t mode, Disk::Status &wanted)
{
    const Opened folder(folderOf(path), O_RDONLY | O_DIRECTORY);
    Disk::Status above{.isFile = true, .size = 0, .owner = asMade, .group = asMade};
    if (::geteuid() == 0) {
        const int result = folder.error().isError() ? folder.file() : Disk::status(folder.file(), above);
        if (result < 0)
            return FileError(result);
    }
    wanted = {.isFile = true, .owner = above.owner, .group = above.group, .mode = mode};
    return {};
}

/// Of a file that takes the place of the one at this path.
FileError wantedStatus(const QByteArray &path, mode_t mode, Disk::Status &wanted)
{
    const Opened old(path, O_WRONLY); // one that we must not write is not replaced
    if (old.error().isAbsence())
        return newStatus(path, mode, wanted);
    if (old.error().isError())
        return old.error();
    const int result = Disk::status(old.file(), wanted);
    return FileError(result == 0 && !wanted.isFile ? -EINVAL : result);
}

/// The mode comes last: until then nobody but us reads it.
void giveStatus(int file, const Disk::Status &wanted)
{
    const bool hasGroup = Disk::setOwner(file, wanted.owner, wanted.group) == 0 ||
                          Disk::setOwner(file, asMade, wanted.group) == 0;
    // What that group might read is not another group's. Not every file system has modes.
    static_cast<void>(Disk::setMode(file, hasGroup ? wanted.mode : wanted.mode & FileMode::secret));
}

FileError writeNew(const QByteArray &path, const QByteArray &octets, const Disk::Status &wanted, Sync sync)
{
    static_cast<void>(Disk::remove(path)); // of a kill
    Opened file(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, FileMode::secret);
    FileError error = file.error();
    if (!error.isError())
        error = writeAll(file.file(), octets);
    if (!error.isError())
        giveStatus(file.file(), wanted);
    if (!error.isError() && sync == Sync::Awaited)
        error = FileError(Disk::sync(file.file()));
    const FileError closing = file.close();
    return error.isError() ? error : closing;
}

/// To read and append: the descriptor, or an errno with its sign turned. A file that is made is synced with its folder.
int openOrMake(const QString &name, mode_t mode)
{
    constexpr int flags = O_RDWR | O_APPEND;
    const int there = Disk::open(QFile::encodeName(name), flags);
    if (!FileError(there).isAbsence())
        return there;
    const QByteArray path = followed(name);
    Opened made(path, flags | O_CREAT | O_EXCL, FileMode::secret);
    Disk::Status wanted;
    FileError error = made.error();
    if (!error.isError())
        error = newStatus(path, mode, wanted);
    if (!error.isError())
        giveStatus(made.file(), wanted);
    if (!error.isError())
        error = syncFolder(folderOf(path));
    return error.isError() ? error.result() : made.take();
}

} // namespace

FileContent readWhole(const QString &name, qint64 most)
{
    const Opened file(QFile::encodeName(name), O_RDONLY);
    Disk::Status status;
    FileError error = file.error();
    if (!error.isError())
        error = FileError(Disk::status(file.file(), status));
    if (!error.isError() && (!status.isFile || status.size > most))
        error = FileError(!status.isFile ? -EINVAL : -EFBIG);
    if (error.isError())
        return {{}, error};
    QByteArray octets(status.size, Qt::Uninitialized);
    qsizetype have = 0;
    while (have < octets.size()) {
        const ssize_t count =
            Disk::read(file.file(), octets.data() + have, size_t(octets.size() - have), have);
        if (count < 0)
            return {{}, FileError(count)};
        if (count == 0)
            break;
        have += count;
    }
    return {octets.first(have), {}};
}

FileError replaceSynced(const QString &name, const QByteArray &octets, mode_t mode, Sync sync)
{
    const QByteArray path = followed(name);
    const QByteArray fresh = path + ".new";
    Disk::Status wanted;
    FileError error = wantedStatus(path, mode, wanted);
    if (error.isError())
        return error;
    error = writeNew(fresh, octets, wanted, sync);
    if (!error.isError())
        error = FileError(Disk::rename(fresh, path));
    if (error.isError())
        static_cast<void>(Disk::remove(fresh));
    else if (sync == Sync::Awaited)
        error = syncFolder(folderOf(path));
    return error;
}

FileError LineFile::open(const QString &name, mode_t mode)
{
    const int file = openOrMake(name, mode);
    Disk::Status status;
    const int result = file < 0 ? file : Disk::status(file, status);
    if (result < 0 && file >= 0)
        static_cast<void>(Disk::close(file));
    if (result < 0)
        return FileError(result);
    close();
    m_file = file;
    m_isRegular = status.isFile;
    m_mayBeTorn = status.isFile;
    return {};
}

FileError LineFile::append(const QByteArray &lines, Sync sync)
{
    FileError error = FileError(m_file);
    if (!error.isError() && m_isRegular)
        error = measure();
    if (error.isError())
        return error;
    error = writeAll(m_file, lines);
    if (!error.isError() && sync == Sync::Awaited)
        error = FileError(Disk::sync(m_file));
    if (!error.isError())
        m_size += lines.size();
    else if (m_isRegular)
        m_mayBeTorn = Disk::truncate(m_file, m_size) < 0;
    return error;
}

/// Others shorten files, too: whoever rotates a log.
FileError LineFile::measure()
{
    Disk::Status status;
    if (const int result = Disk::status(m_file, status); result < 0)
        return FileError(result);
    m_size = status.size;
    if (!m_mayBeTorn)
        return {};
    const FileError error = cutTornLine();
    m_mayBeTorn = error.isError();
    return error;
}

FileError LineFile::cutTornLine()
{
    constexpr off_t block = 4096;
    QByteArray octets(block, Qt::Uninitialized);
    off_t whole = 0;
    for (off_t end = m_size; end > 0 && whole == 0;) {
        const off_t begin = std::max<off_t>(0, end - block);
        const ssize_t count = Disk::read(m_file, octets.data(), size_t(end - begin), begin);
        if (count < 0)
            return FileError(count);
        whole = begin + octets.first(count).lastIndexOf('\n') + 1;
        if (whole == begin)
            whole = 0;
        end = begin;
    }
    if (whole == m_size)
        return {};
    const int result = Disk::truncate(m_file, whole);
    if (result == 0)
        m_size = whole;
    return FileError(result);
}

void LineFile::close()
{
    if (m_file >= 0)
        static_cast<void>(Disk::close(std::exchange(m_file, -1)));
}

FileError appendSynced(const QString &name, const QByteArray &lines, qint64 *size)
{
    LineFile file;
    FileError error = file.open(name, FileMode::secret);
    if (!error.isError())
        error = file.append(lines, Sync::Awaited);
    if (size != nullptr)
        *size = file.size();
    return error;
}

FileError makeFolders(const QString &path)
{
    const QByteArray folder = QFile::encodeName(path);
    int result = Disk::makeFolder(folder, FileMode::folder);
    if (result == -ENOENT && folderOf(folder) != folder) {
        const FileError above = makeFolders(QFile::decodeName(folderOf(folder)));
        if (above.isError())
            return above;
        result = Disk::makeFolder(folder, FileMode::folder);
    }
    return FileError(result == -EEXIST ? 0 : result);
}

FileLock::FileLock(const QString &path, On on, std::chrono::milliseconds wait)
    : m_file(on == On::File
                 ? openOrMake(path, FileMode::secret)
                 : Disk::open(QFile::encodeName(path), O_RDONLY | (on == On::Folder ? O_DIRECTORY : 0)))
{
    QDeadlineTimer deadline(wait);
    int result = m_file < 0 ? m_file : Disk::lock(m_file);
    while (FileError(result).isBusy() && !deadline.hasExpired()) {
        QThread::msleep(10);
        result = Disk::lock(m_file);
    }
    m_error = FileError(result);
}

FileLock::~FileLock()
{
    if (m_file >= 0)
        static_cast<void>(Disk::close(m_file));
}
