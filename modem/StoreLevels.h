#pragma once

#include "modem/ModemStatus.h"

#include <QByteArray>
#include <QMap>

/// How full the memories of the modem are: a full one receives nothing and says nothing.
class StoreLevels
{
public:
    /// total: places, 0 when that is not known; such a memory is never full.
    void set(const QByteArray &memory, int used, int total);
    /// So many places were taken since, or became free.
    void add(const QByteArray &memory, int places) { m_levels[memory].used += places; }
    void clear() { m_levels.clear(); }

    /// Four fifths.
    [[nodiscard]] bool isNearlyFull(const QByteArray &memory) const;
    /// How many are full.
    [[nodiscard]] int full() const;
    /// Those whose size is known.
    [[nodiscard]] QList<ModemStatus::Memory> memories() const;
    /// Lines for the operator: what became nearly full or full, or has room again.
    [[nodiscard]] QStringList takeNews();

private:
    struct Level {
        int used = 0;
        int total = 0;
        QString told; ///< what the operator knows: nearly full, full, or ""

        [[nodiscard]] bool isFull() const { return total > 0 && used >= total; }
        [[nodiscard]] bool isNearlyFull() const;
    };

    QMap<QByteArray, Level> m_levels;
};
