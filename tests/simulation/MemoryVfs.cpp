#include "tests/simulation/MemoryDisk.h"

#include "tests/simulation/Kill.h"
#include "tests/simulation/VirtualTime.h"

#include <cerrno>
#include <cstring>
#include <sqlite3.h>

using namespace std::chrono_literals;

namespace
{

struct Handle {
    sqlite3_file base{};
    MemoryDisk::FilePtr file;
    int lock = SQLITE_LOCK_NONE;
};

Handle &of(sqlite3_file *handle)
{
    return *reinterpret_cast<Handle *>(handle);
}

int resultOf(int error, int otherwise)
{
    return error == 0 ? SQLITE_OK : error == ENOSPC ? SQLITE_FULL : otherwise;
}

/// A dead process holds no locks, so this one works for the dead.
int unlock(sqlite3_file *handle, int level)
{
    Handle &self = of(handle);
    MemoryDisk::File &file = *self.file;
    if (file.writer == &self)
        file.writer = nullptr;
    if (level == SQLITE_LOCK_NONE && self.lock != SQLITE_LOCK_NONE)
        --file.readers;
    self.lock = qMin(self.lock, level);
    return SQLITE_OK;
}

int lock(sqlite3_file *handle, int level)
{
    Handle &self = of(handle);
    MemoryDisk::File &file = *self.file;
    if (self.lock >= level)
        return SQLITE_OK;
    if (Kill::isDead())
        return SQLITE_IOERR_LOCK;
    const bool isOthers = file.writer != nullptr && file.writer != &self;
    if (isOthers && (file.isExclusive || level > SQLITE_LOCK_SHARED))
        return SQLITE_BUSY;
    if (level == SQLITE_LOCK_EXCLUSIVE && file.readers > 1)
        return SQLITE_BUSY;
    if (self.lock == SQLITE_LOCK_NONE)
        ++file.readers;
    if (level > SQLITE_LOCK_SHARED) {
        file.writer = &self;
        file.isExclusive = level == SQLITE_LOCK_EXCLUSIVE;
    }
    self.lock = level;
    return SQLITE_OK;
}

int close(sqlite3_file *handle)
{
    unlock(handle, SQLITE_LOCK_NONE);
    std::destroy_at(&of(handle));
    return SQLITE_OK;
}

int read(sqlite3_file *handle, void *to, int octets, sqlite3_int64 offset)
{
    QByteArray read;
    if (disk().read(of(handle).file, offset, octets, read) != 0)
        return SQLITE_IOERR_READ;
    std::memcpy(to, read.constData(), static_cast<size_t>(read.size()));
    if (read.size() == octets)
        return SQLITE_OK;
    std::memset(static_cast<char *>(to) + read.size(), 0, static_cast<size_t>(octets - read.size()));
    return SQLITE_IOERR_SHORT_READ;
}

int write(sqlite3_file *handle, const void *from, int octets, sqlite3_int64 offset)
{
    const QByteArrayView view(static_cast<const char *>(from), octets);
    return resultOf(disk().write(of(handle).file, offset, view), SQLITE_IOERR_WRITE);
}

int truncate(sqlite3_file *handle, sqlite3_int64 size)
{
    return resultOf(disk().truncate(of(handle).file, size), SQLITE_IOERR_TRUNCATE);
}

/// As SQLite's own for Unix, it syncs the folder of a new file too.
int sync(sqlite3_file *handle, int)
{
    if (const int error = disk().sync(of(handle).file); error != 0)
        return resultOf(error, SQLITE_IOERR_FSYNC);
    return resultOf(disk().syncFolder(), SQLITE_IOERR_DIR_FSYNC);
}

int fileSize(sqlite3_file *handle, sqlite3_int64 *size)
{
    *size = of(handle).file->content.size();
    return Kill::isDead() ? SQLITE_IOERR_FSTAT : SQLITE_OK;
}

const sqlite3_io_methods methods = [] {
    sqlite3_io_methods made{};
    made.iVersion = 1;
    made.xClose = close;
    made.xRead = read;
    made.xWrite = write;
    made.xTruncate = truncate;
    made.xSync = sync;
    made.xFileSize = fileSize;
    made.xLock = lock;
    made.xUnlock = unlock;
    made.xCheckReservedLock = [](sqlite3_file *handle, int *isReserved) {
        *isReserved = of(handle).file->writer != nullptr;
        return SQLITE_OK;
    };
    made.xFileControl = [](sqlite3_file *, int, void *) { return SQLITE_NOTFOUND; };
    made.xDeviceCharacteristics = [](sqlite3_file *) { return 0; };
    return made;
}();

int open(sqlite3_vfs *, sqlite3_filename name, sqlite3_file *handle, int flags, int *outFlags)
{
    MemoryDisk::FilePtr file;
    if (name == nullptr)
        file = std::make_shared<MemoryDisk::File>(); // a temporary one without a name
    else if (disk().open(name, (flags & SQLITE_OPEN_CREATE) != 0, file) != 0)
        return SQLITE_CANTOPEN;
    new (handle) Handle{{&methods}, file};
    if (outFlags != nullptr)
        *outFlags = flags;
    return SQLITE_OK;
}

int removeFile(sqlite3_vfs *, const char *name, int isFolderSynced)
{
    const int error = disk().remove(name);
    if (error == ENOENT)
        return SQLITE_IOERR_DELETE_NOENT;
    if (error != 0 || isFolderSynced == 0)
        return resultOf(error, SQLITE_IOERR_DELETE);
    return resultOf(disk().syncFolder(), SQLITE_IOERR_DIR_FSYNC);
}

int access(sqlite3_vfs *, const char *name, int, int *isThere)
{
    const auto file = disk().find(name);
    *isThere = file && !file->content.isEmpty();
    return Kill::isDead() ? SQLITE_IOERR_ACCESS : SQLITE_OK;
}

int sleepFor(sqlite3_vfs *, int microseconds)
{
    VirtualTime &time = VirtualTime::instance();
    time.block(time.now() + std::chrono::microseconds(microseconds), [] { return Kill::isDead(); });
    return microseconds;
}

} // namespace

void registerMemoryVfs()
{
    static sqlite3_vfs vfs = [] {
        sqlite3_vfs made = *sqlite3_vfs_find(nullptr); // the clock is that of the process
        made.szOsFile = sizeof(Handle);
        made.zName = "memory-disk";
        made.xOpen = open;
        made.xDelete = removeFile;
        made.xAccess = access;
        made.xRandomness = [](sqlite3_vfs *, int octets, char *to) {
            std::memset(to, 7, static_cast<size_t>(octets));
            return octets;
        };
        made.xSleep = sleepFor;
        return made;
    }();
    sqlite3_vfs_register(&vfs, 1);
}
