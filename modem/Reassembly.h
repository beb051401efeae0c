#pragma once

#include "modem/StoredTpdu.h"
#include "modem/tpdu/ReceivedTpdu.h"

#include <QDateTime>
#include <QList>
#include <chrono>

/// A decoded SMS-DELIVER with its copy in the store.
struct ReceivedPart {
    StoredTpdu copy;
    SmsDeliver deliver;
    QDateTime firstSeen; ///< when this run of the program first read it

    /// Its service-centre time; the time first seen when that is no date-time.
    [[nodiscard]] QDateTime time() const { return deliver.scts.isValid() ? deliver.scts : firstSeen; }
};

/// The parts of one message, or the one SMS that it is.
struct PartSet {
    QList<ReceivedPart> parts;      ///< one for each sequence number that came, ascending
    QList<ReceivedPart> duplicates; ///< the same parts once more: they carry nothing, but their copies go too
    int total = 1;

    [[nodiscard]] bool isComplete() const { return parts.size() == total; }
    /// Sender, reference and total; "" for a single SMS.
    [[nodiscard]] QString key() const;
    /// The texts joined; of an incomplete set, as far as they came.
    [[nodiscard]] QString text() const;
    /// Service-centre time of the first part: the receive time of the message.
    [[nodiscard]] QDateTime time() const { return parts.first().time(); }
    /// What an incomplete set is measured by: the newest part's service-centre time, never later than its
    /// time first seen (a service centre's clock may be ahead).
    [[nodiscard]] QDateTime newest() const;
    /// When this run had seen all of its parts.
    [[nodiscard]] QDateTime lastFirstSeen() const;
};

/// The service centre stamps the parts of one message within minutes; a reference comes round again later.
constexpr std::chrono::minutes partsApart{30};

/// Sorts parts into messages (3GPP TS 23.040, 9.2.3.24.1): keyed by sender, reference and total, in any
/// order, sets of different senders interleaved. A sequence number that a set already holds is a duplicate
/// when its text is the same, otherwise it belongs to another set with the same reference. Of several sets a
/// part joins the one nearest in time, and none that is further away than partsApart. The sets come by time,
/// then memory and index.
[[nodiscard]] QList<PartSet> reassemble(QList<ReceivedPart> parts);
