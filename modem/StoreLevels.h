#pragma once

#include "modem/ModemStatus.h"

#include <QByteArray>
#include <QMap>

/// How full the memories of the modem are: a full one receives nothing and says nothing.
class StoreLevels
{
public:
    void set(const ModemStatus::Memory &memory) { m_levels[memory.name.toLatin1()].memory = memory; }
    /// So many places were taken since, or became free.
    void add(const QByteArray &memory, int places) { m_levels[memory].memory.used += places; }
    void clear() { m_levels.clear(); }

    [[nodiscard]] bool isNearlyFull(const QByteArray &memory) const
    {
        return m_levels.value(memory).memory.isNearlyFull();
    }
    /// How many are full.
    [[nodiscard]] int full() const;
    /// Those whose size is known.
    [[nodiscard]] QList<ModemStatus::Memory> memories() const;
    /// Lines for the operator: what became nearly full or full, or has room again.
    [[nodiscard]] QStringList takeNews();

private:
    struct Level {
        ModemStatus::Memory memory;
        QString told; ///< what the operator knows: nearly full, full, or ""
    };

    QMap<QByteArray, Level> m_levels;
};
