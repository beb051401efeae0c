#include "platform/files/Disk.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Disk
{

namespace
{

/// Again while signals interrupt it.
template <typename Call>
auto done(Call call) -> decltype(call())
{
    while (true) {
        const auto result = call();
        if (result >= 0)
            return result;
        if (errno != EINTR)
            return -errno;
    }
}

} // namespace

int open(const QByteArray &path, int flags, mode_t mode)
{
    return done([&] { return ::open(path.constData(), flags | O_CLOEXEC | O_NONBLOCK, mode); });
}

int close(int file)
{
    // The descriptor is gone also when a signal interrupts it.
    return ::close(file) == 0 || errno == EINTR ? 0 : -errno;
}

ssize_t read(int file, char *octets, size_t most, off_t offset)
{
    return done([&] { return ::pread(file, octets, most, offset); });
}

ssize_t write(int file, const char *octets, size_t count)
{
    return done([&] { return ::write(file, octets, count); });
}

int truncate(int file, off_t size)
{
    return done([&] { return ::ftruncate(file, size); });
}

int sync(int file)
{
    return done([&] { return ::fsync(file); });
}

int status(int file, Status &status)
{
    struct stat found = {};
    const int result = done([&] { return ::fstat(file, &found); });
    constexpr mode_t permissions = 07777;
    status = {S_ISREG(found.st_mode), found.st_size, found.st_uid, found.st_gid, found.st_mode & permissions};
    return result;
}

int setOwner(int file, uid_t owner, gid_t group)
{
    return done([&] { return ::fchown(file, owner, group); });
}

int setMode(int file, mode_t mode)
{
    return done([&] { return ::fchmod(file, mode); });
}

int lock(int file)
{
    return done([&] { return ::flock(file, LOCK_EX | LOCK_NB); });
}

int rename(const QByteArray &from, const QByteArray &to)
{
    return done([&] { return std::rename(from.constData(), to.constData()); });
}

int remove(const QByteArray &path)
{
    return done([&] { return ::unlink(path.constData()); });
}

int makeFolder(const QByteArray &path, mode_t mode)
{
    return done([&] { return ::mkdir(path.constData(), mode); });
}

std::optional<QByteArray> linkTarget(const QByteArray &path)
{
    QByteArray target(PATH_MAX, Qt::Uninitialized);
    const ssize_t length = ::readlink(path.constData(), target.data(), size_t(target.size()));
    return length >= 0 ? std::optional(target.first(length)) : std::nullopt;
}

} // namespace Disk
