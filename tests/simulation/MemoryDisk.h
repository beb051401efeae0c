#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <map>
#include <memory>
#include <optional>
#include <random>

/// A disk in memory that knows what was synced. A kill leaves what was written; a power cut leaves what was synced and,
/// of the rest, what chance let through, torn. In the words of POSIX, errno for a failure; the file system of the
/// programs (platform/files) and of SQLite (MemoryVfs) alike.
class MemoryDisk
{
public:
    static constexpr qint64 pageSize = 4096;

    /// A file, whatever its names.
    struct File {
        struct Change {
            qint64 offset = 0;
            QByteArray octets;
            bool isTruncation = false; ///< to the offset
        };
        QByteArray content;     ///< as programs see it
        QByteArray synced;      ///< as it is on the platter
        QList<Change> unsynced; ///< since then
        /// Of SQLite: who holds what.
        int readers = 0;
        const void *writer = nullptr;
        bool isExclusive = false; ///< the writer
    };
    using FilePtr = std::shared_ptr<File>;

    /// Empty, whole and with room again; chance is what a power cut draws from.
    void restart(quint64 chance);

    /// Nothing when there is none. A name here and below: what follows the last "/"; the disk has one folder.
    [[nodiscard]] FilePtr find(const QByteArray &name) const { return m_names.value(base(name)); }
    /// 0 or errno, as all that follow.
    int open(const QByteArray &name, bool isMade, FilePtr &file);
    int read(const FilePtr &file, qint64 offset, qint64 octets, QByteArray &read);
    /// A short write writes what there is room for and says ENOSPC.
    int write(const FilePtr &file, qint64 offset, QByteArrayView octets);
    int truncate(const FilePtr &file, qint64 size);
    int sync(const FilePtr &file);
    int rename(const QByteArray &from, const QByteArray &to);
    int remove(const QByteArray &name);
    int syncFolder();

    /// Only so many pages can still be taken; nothing for any number.
    void setFreePages(std::optional<qint64> pages) { m_freePages = pages; }
    /// Every read (EIO) or write fails with that; 0 ends it. ofName: only of that file, and of what is to take
    /// its place (NAME.new).
    void fail(int error, const QByteArray &ofName = {});
    /// That server reaches none of the files of that name until the next call; 0 for all do.
    void cutOff(int server, const QByteArray &fromName = {})
    {
        m_cutOff = server;
        m_farName = fromName;
    }
    /// The files of which something was refused.
    [[nodiscard]] QList<QByteArray> refused() const { return m_refused; }
    /// What was not synced is torn and forgotten; every open file is closed.
    void cutPower();

private:
    static QByteArray base(const QByteArray &name) { return name.mid(name.lastIndexOf('/') + 1); }
    struct NameChange {
        QByteArray gone; ///< "" for none
        QByteArray name; ///< "" for none
        FilePtr file;
    };
    int refusal(const File *file, bool isWrite, QByteArray name = {});
    [[nodiscard]] QByteArray nameOf(const File *file) const;
    static void apply(const QList<NameChange> &changes, QHash<QByteArray, FilePtr> &names);
    void change(const NameChange &change);

    QHash<QByteArray, FilePtr> m_names;
    QHash<QByteArray, FilePtr> m_syncedNames;
    QList<NameChange> m_unsyncedNames;
    std::optional<qint64> m_freePages;
    int m_error = 0;
    QList<QByteArray> m_refused;
    QByteArray m_failingName;
    int m_cutOff = 0;
    QByteArray m_farName;
    std::mt19937_64 m_chance;
};

/// The process's one.
[[nodiscard]] MemoryDisk &disk();
/// SQLite on the memory disk, from now on and for every connection of the process.
void registerMemoryVfs();
