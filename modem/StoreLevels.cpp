#include "modem/StoreLevels.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

int StoreLevels::full() const
{
    return static_cast<int>(std::count_if(m_levels.cbegin(), m_levels.cend(),
                                          [](const Level &level) { return level.memory.isFull(); }));
}

QList<ModemStatus::Memory> StoreLevels::memories() const
{
    QList<ModemStatus::Memory> memories;
    for (const Level &level : m_levels) {
        if (level.memory.total > 0)
            memories.append(level.memory);
    }
    return memories;
}

QStringList StoreLevels::takeNews()
{
    QStringList news;
    for (auto &[memory, told] : m_levels) {
        if (memory.total <= 0)
            continue;
        // One that is full and loses a place is told no more than that it was full.
        const QString state = memory.isFull()          ? u"已满"_s
                              : !memory.isNearlyFull() ? QString()
                              : told.isEmpty()         ? u"将满"_s
                                                       : told;
        if (std::exchange(told, state) == state)
            continue;
        const QString store = u"短信猫存储器 "_s + memory.name;
        news += state.isEmpty()
                    ? store + u" 已有空位"_s
                    : u"%1 %2：已用 %3，共 %4"_s.arg(store, state).arg(memory.used).arg(memory.total);
    }
    return news;
}
