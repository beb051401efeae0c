#include "tests/simulation/MemoryDisk.h"

#include "tests/simulation/Kill.h"
#include "tests/simulation/VirtualTime.h"

#include <algorithm>
#include <cerrno>

namespace
{

void make(const MemoryDisk::File::Change &change, QByteArray &content)
{
    if (change.isTruncation) {
        content.resize(change.offset, '\0');
        return;
    }
    const qint64 end = change.offset + change.octets.size();
    if (content.size() < end)
        content.append(end - content.size(), '\0');
    std::copy(change.octets.cbegin(), change.octets.cend(), content.begin() + change.offset);
}

qint64 pagesOf(qint64 octets)
{
    return (octets + MemoryDisk::pageSize - 1) / MemoryDisk::pageSize;
}

} // namespace

MemoryDisk &disk()
{
    static MemoryDisk one;
    return one;
}

void MemoryDisk::restart(quint64 chance)
{
    *this = {};
    m_chance.seed(chance);
}

/// The office's own programs see a disk that is whole, though as full as it is.
int MemoryDisk::refusal(const File *file, bool isWrite, QByteArray name)
{
    if (isWrite ? !Kill::crosses() : Kill::isDead())
        return EIO;
    if (VirtualTime::instance().domain() == VirtualTime::world)
        return 0;
    if (m_cutOff != 0 && VirtualTime::instance().domain() == m_cutOff &&
        m_names.value(m_farName).get() == file)
        return EIO;
    if (m_error == 0 || (!isWrite && m_error != EIO && m_error != EACCES))
        return 0;
    if (name.isEmpty())
        name = nameOf(file);
    if (!m_failingName.isEmpty() && name != m_failingName && name != m_failingName + ".new")
        return 0;
    m_refused += name;
    return m_error;
}

QByteArray MemoryDisk::nameOf(const File *file) const
{
    const auto named = std::ranges::find_if(m_names, [file](const FilePtr &it) { return it.get() == file; });
    return named == m_names.cend() ? QByteArray() : m_names.key(*named);
}

int MemoryDisk::open(const QByteArray &name, bool isMade, FilePtr &file)
{
    file = find(name);
    const bool isNew = !file && isMade;
    if (const int error = refusal(file.get(), isNew, base(name)); error != 0)
        return error;
    if (isNew) {
        file = std::make_shared<File>();
        change({{}, base(name), file});
    }
    return file ? 0 : ENOENT;
}

int MemoryDisk::read(const FilePtr &file, qint64 offset, qint64 octets, QByteArray &read)
{
    read = file->content.mid(offset, octets);
    return refusal(file.get(), false);
}

int MemoryDisk::write(const FilePtr &file, qint64 offset, QByteArrayView octets)
{
    if (const int error = refusal(file.get(), true); error != 0)
        return error;
    const qint64 size = file->content.size();
    qint64 end = offset + octets.size();
    if (m_freePages && pagesOf(end) - pagesOf(size) > *m_freePages)
        end = qMax(offset, (pagesOf(size) + *m_freePages) * pageSize);
    if (end > offset) {
        if (m_freePages)
            *m_freePages -= qMax<qint64>(0, pagesOf(end) - pagesOf(size));
        const File::Change change{offset, octets.first(end - offset).toByteArray(), false};
        make(change, file->content);
        file->unsynced.append(change);
    }
    if (end == offset + octets.size())
        return 0;
    m_refused += nameOf(file.get());
    return ENOSPC;
}

int MemoryDisk::truncate(const FilePtr &file, qint64 size)
{
    if (const int error = refusal(file.get(), true); error != 0)
        return error;
    const File::Change change{size, {}, true};
    if (m_freePages)
        *m_freePages += pagesOf(file->content.size()) - pagesOf(size);
    make(change, file->content);
    file->unsynced.append(change);
    return 0;
}

int MemoryDisk::sync(const FilePtr &file)
{
    if (const int error = refusal(file.get(), true); error != 0)
        return error;
    file->synced = file->content;
    file->unsynced.clear();
    return 0;
}

void MemoryDisk::change(const NameChange &change)
{
    m_unsyncedNames.append(change);
    apply({change}, m_names);
}

void MemoryDisk::apply(const QList<NameChange> &changes, QHash<QByteArray, FilePtr> &names)
{
    for (const NameChange &change : changes) {
        names.remove(change.gone);
        if (!change.name.isEmpty())
            names.insert(change.name, change.file);
    }
}

int MemoryDisk::rename(const QByteArray &from, const QByteArray &to)
{
    const FilePtr file = find(from);
    if (const int error = refusal(file.get(), true); error != 0)
        return error;
    if (!file)
        return ENOENT;
    change({base(from), base(to), file});
    return 0;
}

int MemoryDisk::remove(const QByteArray &name)
{
    const FilePtr file = find(name);
    if (const int error = refusal(file.get(), true); error != 0)
        return error;
    if (!file)
        return ENOENT;
    if (m_freePages)
        *m_freePages += pagesOf(file->content.size());
    change({base(name), {}, {}});
    return 0;
}

int MemoryDisk::syncFolder()
{
    if (const int error = refusal(nullptr, true); error != 0)
        return error;
    apply(std::exchange(m_unsyncedNames, {}), m_syncedNames);
    return 0;
}

void MemoryDisk::fail(int error, const QByteArray &ofName)
{
    m_error = error;
    m_failingName = ofName;
}

void MemoryDisk::cutPower()
{
    constexpr qint64 sector = 512;
    // A journal of the file system keeps the order of names; data goes as it likes.
    const auto survivors = static_cast<qsizetype>(m_chance() % quint64(m_unsyncedNames.size() + 1));
    apply(m_unsyncedNames.first(survivors), m_syncedNames);
    m_unsyncedNames.clear();
    m_names = m_syncedNames;
    QList<QByteArray> names = m_names.keys();
    std::sort(names.begin(), names.end());
    for (const QByteArray &name : names) {
        File &file = *m_names.value(name);
        QByteArray content = file.synced;
        for (File::Change change : std::exchange(file.unsynced, {})) {
            const quint64 fate = m_chance() % 3; // gone, torn, whole
            if (fate == 1 && !change.isTruncation)
                change.octets.truncate(qint64(m_chance() % quint64(change.octets.size() / sector + 1)) *
                                       sector);
            if (fate != 0)
                make(change, content);
        }
        file.content = file.synced = content;
        file.readers = 0;
        file.writer = nullptr;
    }
}
