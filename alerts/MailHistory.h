#pragma once

#include "alerts/MailKind.h"
#include "alerts/MailSlices.h"

#include <QHash>
#include <QSet>
#include <deque>

/// What the passes before have read, so that a pass need not read every mail above the lowest watermark
/// again. A pass reads the newest mails, in which nearly all changes happen, and one slice of the older ones,
/// slice after slice in rounds, which finds the rest. A service is read whole, from its watermark on, when it
/// is new here, when its watermark has moved back, or when one of its mails has become new: so the alerts of
/// one user and service, their order and the watermark are always those of a full reading, and only a change
/// in an older mail may be noticed some passes later.
class MailHistory
{
public:
    struct Limits {
        int newestMails = 2'500; ///< read by every pass
        int sliceMails = 7'500;  ///< of the older ones, by every pass
    };
    explicit MailHistory(Limits limits) : m_limits(limits), m_slices(limits.sliceMails) {}

    /// A pass begins that knows what the one before has read.
    void beginPass() { m_readBefore = std::exchange(m_read, {}); }
    /// True when the pass before has left no mail above this watermark that is new to the service.
    [[nodiscard]] bool wasRead(const QString &userName, MailKind kind, qint64 watermark) const;
    /// This pass has left none.
    void noteRead(const QString &userName, MailKind kind, qint64 watermark);
    /// The database refuses the service's alerts. They wait until all mails have been read once more.
    void noteRefused(const QString &userName, MailKind kind);
    [[nodiscard]] bool mustWait(const QString &userName, MailKind kind) const
    {
        return m_refused.contains(key(userName, kind));
    }

    /// Reads what a pass is to read of the mails with lowest < VOID <= highest: calls visit with each until
    /// mayGoOn, asked after each slice, answers false. Returns the numbers between which all have been read.
    struct Range {
        qint64 after;
        qint64 last;
    };
    Range read(Connection &connection, Range range, const MailSlices::Visit &visit,
               const std::function<bool()> &mayGoOn);
    /// Reads all mails of a range, in the same way. Returns the number up to which they have been read.
    qint64 readWhole(Connection &connection, Range range, const MailSlices::Visit &visit,
                     const std::function<bool()> &mayGoOn);

private:
    using Service = std::pair<QString, int>; // user name and MailKind
    [[nodiscard]] static Service key(const QString &userName, MailKind kind)
    {
        return {userName, static_cast<int>(kind)};
    }

    Limits m_limits;
    MailSlices m_slices;
    QHash<Service, qint64> m_read; // watermark from which on this pass has left nothing
    QHash<Service, qint64> m_readBefore;
    QSet<Service> m_refused;
    std::optional<qint64> m_newestAfter; // number of the last mail that is not one of the newest
    qint64 m_olderRead = 0;              // number up to which this round has read the older ones
};
