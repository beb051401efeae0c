#include "modem/Reassembly.h"

#include <QHash>
#include <algorithm>
#include <cstdlib>
#include <limits>
#include <ranges>
#include <tuple>

namespace
{

bool comesBefore(const ReceivedPart &a, const ReceivedPart &b)
{
    return std::make_tuple(a.time(), a.copy.memory, a.copy.index) <
           std::make_tuple(b.time(), b.copy.memory, b.copy.index);
}

int sequenceOf(const ReceivedPart &part)
{
    return part.deliver.udh.concatenation->sequence;
}

QString keyOf(const ReceivedPart &part)
{
    const Concatenation &place = *part.deliver.udh.concatenation;
    return part.deliver.oa.display() + QChar(u'\0') + QString::number(place.reference) + QChar(u'/') +
           QString::number(place.referenceBits) + QChar(u'/') + QString::number(place.total);
}

/// True when the set took the part, in its place or as a duplicate.
bool join(PartSet &set, const ReceivedPart &part)
{
    const auto place =
        std::lower_bound(set.parts.begin(), set.parts.end(), sequenceOf(part),
                         [](const ReceivedPart &held, int wanted) { return sequenceOf(held) < wanted; });
    if (place == set.parts.end() || sequenceOf(*place) != sequenceOf(part)) {
        set.parts.insert(place, part);
        return true;
    }
    if (place->deliver.ud != part.deliver.ud)
        return false;
    set.duplicates.append(part);
    return true;
}

/// How far the part is in time from the nearest one that the set holds.
qint64 secondsApart(const PartSet &set, const ReceivedPart &part)
{
    qint64 nearest = std::numeric_limits<qint64>::max();
    for (const ReceivedPart &held : set.parts)
        nearest = std::min(nearest, std::abs(held.time().secsTo(part.time())));
    return nearest;
}

} // namespace

QString PartSet::key() const
{
    return parts.first().deliver.udh.concatenation ? keyOf(parts.first()) : QString();
}

QString PartSet::text() const
{
    QString text;
    for (const ReceivedPart &part : parts)
        text += part.deliver.ud;
    return text;
}

QDateTime PartSet::newest() const
{
    return std::ranges::max(parts | std::views::transform([](const ReceivedPart &part) {
                                return std::min(part.time(), part.firstSeen);
                            }));
}

QDateTime PartSet::lastFirstSeen() const
{
    return std::ranges::max(parts, {}, &ReceivedPart::firstSeen).firstSeen;
}

QList<PartSet> reassemble(QList<ReceivedPart> parts)
{
    std::sort(parts.begin(), parts.end(), comesBefore);
    QList<PartSet> sets;
    QHash<QString, QList<qsizetype>> setsOfKey;
    for (const ReceivedPart &part : parts) {
        if (!part.deliver.udh.concatenation) {
            sets.append(PartSet{{part}, {}, 1});
            continue;
        }
        QList<qsizetype> &candidates = setsOfKey[keyOf(part)];
        std::stable_sort(candidates.begin(), candidates.end(), [&](qsizetype a, qsizetype b) {
            return secondsApart(sets[a], part) < secondsApart(sets[b], part);
        });
        constexpr qint64 mostApart = std::chrono::seconds(partsApart).count();
        const bool joined = std::any_of(candidates.begin(), candidates.end(), [&](qsizetype set) {
            return secondsApart(sets[set], part) <= mostApart && join(sets[set], part);
        });
        if (joined)
            continue;
        candidates.append(sets.size());
        sets.append(PartSet{{part}, {}, part.deliver.udh.concatenation->total});
    }
    std::stable_sort(sets.begin(), sets.end(), [](const PartSet &a, const PartSet &b) {
        return comesBefore(a.parts.first(), b.parts.first());
    });
    return sets;
}
