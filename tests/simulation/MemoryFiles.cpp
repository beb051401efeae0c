// The programs' own files on the memory disk: stands in the place of the real disk.
#include "platform/files/Disk.h"

#include "tests/simulation/Kill.h"
#include "tests/simulation/MemoryDisk.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>

namespace
{

/// By descriptor; nothing: the folder. What is written is always appended.
QHash<int, MemoryDisk::FilePtr> files;

} // namespace

int Disk::open(const QByteArray &path, int flags, mode_t)
{
    static int last = 1000;
    MemoryDisk::FilePtr file;
    if ((flags & O_DIRECTORY) == 0) {
        if ((flags & O_EXCL) != 0 && disk().find(path))
            return -EEXIST;
        if (const int error = disk().open(path, (flags & O_CREAT) != 0, file); error != 0)
            return -error;
    }
    files.insert(++last, file);
    return last;
}

int Disk::close(int file)
{
    files.remove(file);
    return 0;
}

ssize_t Disk::read(int file, char *octets, size_t most, off_t offset)
{
    QByteArray read;
    if (const int error = disk().read(files[file], offset, static_cast<qint64>(most), read); error != 0)
        return -error;
    std::memcpy(octets, read.constData(), static_cast<size_t>(read.size()));
    return read.size();
}

ssize_t Disk::write(int file, const char *octets, size_t count)
{
    const MemoryDisk::FilePtr written = files[file];
    const qint64 before = written->content.size();
    const int error = disk().write(written, before, {octets, static_cast<qsizetype>(count)});
    const qint64 taken = written->content.size() - before;
    return error == 0 || (error == ENOSPC && taken > 0) ? taken : -error;
}

int Disk::truncate(int file, off_t size)
{
    return -disk().truncate(files[file], size);
}

int Disk::sync(int file)
{
    const MemoryDisk::FilePtr synced = files[file];
    return -(synced ? disk().sync(synced) : disk().syncFolder());
}

int Disk::status(int file, Status &status)
{
    const MemoryDisk::FilePtr asked = files[file];
    status = {.isFile = asked != nullptr, .size = asked ? asked->content.size() : 0, .mode = 0600};
    return Kill::isDead() ? -EIO : 0;
}

int Disk::setOwner(int, uid_t, gid_t)
{
    return 0;
}

int Disk::setMode(int, mode_t)
{
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
