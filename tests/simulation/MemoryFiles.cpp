// The programs' own files on the memory disk: stands in the place of the real disk.
#include "platform/files/Disk.h"

#include "tests/simulation/Kill.h"
#include "tests/simulation/MemoryDisk.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>

namespace
{

struct Opened {
    MemoryDisk::FilePtr file; ///< nothing: the folder
    off_t position = 0;
    bool isAppending = false;
};

QHash<int, Opened> &openedFiles()
{
    static QHash<int, Opened> files;
    return files;
}

MemoryDisk &disk()
{
    return MemoryDisk::instance();
}

} // namespace

int Disk::open(const QByteArray &path, int flags, mode_t mode)
{
    static int last = 1000;
    Opened opened{{}, 0, (flags & O_APPEND) != 0};
    if ((flags & O_DIRECTORY) == 0) {
        const bool isThere = disk().find(path) != nullptr;
        if (isThere && (flags & O_EXCL) != 0)
            return -EEXIST;
        if (const int error = disk().open(path, (flags & O_CREAT) != 0, opened.file); error != 0)
            return -error;
        if (!isThere)
            opened.file->mode = mode;
        if (isThere && (flags & O_TRUNC) != 0) {
            if (const int error = disk().truncate(opened.file, 0); error != 0)
                return -error;
        }
    }
    openedFiles().insert(++last, opened);
    return last;
}

int Disk::close(int file)
{
    openedFiles().remove(file);
    return 0;
}

ssize_t Disk::read(int file, char *octets, size_t most, off_t offset)
{
    QByteArray read;
    if (const int error = disk().read(openedFiles()[file].file, offset, static_cast<qint64>(most), read);
        error != 0)
        return -error;
    std::memcpy(octets, read.constData(), static_cast<size_t>(read.size()));
    return read.size();
}

ssize_t Disk::write(int file, const char *octets, size_t count)
{
    Opened &opened = openedFiles()[file];
    const off_t from = opened.isAppending ? opened.file->content.size() : opened.position;
    const off_t before = opened.file->content.size();
    const int error = disk().write(opened.file, from, {octets, static_cast<qsizetype>(count)});
    const off_t written = error == 0 ? static_cast<off_t>(count) : opened.file->content.size() - before;
    if (error != 0 && (error != ENOSPC || written <= 0))
        return -error;
    opened.position = from + written;
    return written;
}

int Disk::truncate(int file, off_t size)
{
    return -disk().truncate(openedFiles()[file].file, size);
}

int Disk::sync(int file)
{
    const auto &opened = openedFiles()[file].file;
    return -(opened ? disk().sync(opened) : disk().syncFolder());
}

int Disk::status(int file, Status &status)
{
    const auto &opened = openedFiles()[file].file;
    status = {};
    status.isFile = opened != nullptr;
    if (opened) {
        status.size = opened->content.size();
        status.mode = opened->mode;
    }
    return Kill::isDead() ? -EIO : 0;
}

int Disk::setOwner(int, uid_t, gid_t)
{
    return 0;
}

int Disk::setMode(int file, mode_t mode)
{
    openedFiles()[file].file->mode = mode;
    return 0;
}

int Disk::lock(int)
{
    return 0;
}

int Disk::rename(const QByteArray &from, const QByteArray &to)
{
    return -disk().rename(from, to);
}

int Disk::remove(const QByteArray &path)
{
    return -disk().remove(path);
}

int Disk::makeFolder(const QByteArray &, mode_t)
{
    return 0;
}

std::optional<QByteArray> Disk::linkTarget(const QByteArray &)
{
    return std::nullopt;
}
