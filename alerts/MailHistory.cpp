#include "alerts/MailHistory.h"

bool MailHistory::wasRead(const QString &userName, MailKind kind, qint64 watermark) const
{
    const auto read = m_readBefore.constFind(key(userName, kind));
    return read != m_readBefore.cend() && *read <= watermark;
}

void MailHistory::noteRead(const QString &userName, MailKind kind, qint64 watermark)
{
    m_read.insert(key(userName, kind), watermark);
    m_refused.remove(key(userName, kind));
}

void MailHistory::noteRefused(const QString &userName, MailKind kind)
{
    m_refused.insert(key(userName, kind));
}

qint64 MailHistory::readWhole(Connection &connection, Range range, const MailSlices::Visit &visit,
                              const std::function<bool()> &mayGoOn)
{
    while (range.after < range.last && mayGoOn())
        range.after = m_slices.read(connection, range.after, range.last, visit);
    return range.after;
}

MailHistory::Range MailHistory::read(Connection &connection, Range range, const MailSlices::Visit &visit,
                                     const std::function<bool()> &mayGoOn)
{
    // The newest ones have all gone, with numbers and all: another table.
    if (m_newestAfter && *m_newestAfter > range.last)
        m_newestAfter.reset();
    const qint64 older = m_newestAfter.value_or(range.after);
    const qint64 newestAfter = qMax(older, range.after);

    std::deque<qint64> newest;
    qint64 nextNewestAfter = older;
    const qint64 last = readWhole(
        connection, {newestAfter, range.last},
        [&](const Statement &row) {
            newest.push_back(row.value(0).toLongLong());
            if (newest.size() > size_t(m_limits.newestMails)) {
                nextNewestAfter = newest.front();
                newest.pop_front();
            }
            visit(row);
        },
        mayGoOn);
    if (last < range.last)
        return {newestAfter, last};
    m_newestAfter = nextNewestAfter;

    // After the newest: what becomes new while this reads is alerted later, but never left behind by them.
    if (m_olderRead < range.after || m_olderRead >= newestAfter)
        m_olderRead = range.after;
    const qint64 sliceAfter = m_olderRead;
    if (sliceAfter < newestAfter)
        m_olderRead = m_slices.read(connection, sliceAfter, newestAfter, visit);
    if (m_olderRead < newestAfter)
        return {newestAfter, last};
    m_refused.clear();
    // The next round begins at once, so that what little more than a slice holds is read whole every time.
    if (sliceAfter > range.after)
        m_olderRead = m_slices.read(connection, range.after, sliceAfter, visit);
    return {m_olderRead >= sliceAfter ? range.after : sliceAfter, last};
}
