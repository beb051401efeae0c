#pragma once

#include <QByteArray>
#include <optional>
#include <sys/types.h>

/// The disk, in POSIX words: every file of our own is read and written by these functions alone. A program that
/// defines them itself takes the disk's place. A result below 0 is an errno with its sign turned.
namespace Disk
{

struct Status {
    bool isFile = false; ///< a regular one
    off_t size = 0;      ///< octets
    uid_t owner = 0;
    gid_t group = 0;
    mode_t mode = 0; ///< the permissions alone
};

/// The descriptor. flags as of open(2); it never waits, for a FIFO's other end neither, and no program that is
/// started gets it.
[[nodiscard]] int open(const QByteArray &path, int flags, mode_t mode = 0);
/// What close(2) says; the descriptor is gone in any case.
[[nodiscard]] int close(int file);
/// How many octets, from an offset on; 0 at the end.
[[nodiscard]] ssize_t read(int file, char *octets, size_t most, off_t offset);
/// How many octets; fewer than wanted when the disk is full.
[[nodiscard]] ssize_t write(int file, const char *octets, size_t count);
[[nodiscard]] int truncate(int file, off_t size);
/// Until it lies on the disk; of a folder its names.
[[nodiscard]] int sync(int file);
[[nodiscard]] int status(int file, Status &status);
[[nodiscard]] int setOwner(int file, uid_t owner, gid_t group);
[[nodiscard]] int setMode(int file, mode_t mode);
/// Alone among all processes until it is closed, which a kill does too. Does not wait.
[[nodiscard]] int lock(int file);

[[nodiscard]] int rename(const QByteArray &from, const QByteArray &to);
[[nodiscard]] int remove(const QByteArray &path);
[[nodiscard]] int makeFolder(const QByteArray &path, mode_t mode);
/// What a symbolic link names; nothing when it is none.
[[nodiscard]] std::optional<QByteArray> linkTarget(const QByteArray &path);

} // namespace Disk
