#include "modem/StoreLevels.h"

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

bool StoreLevels::Level::isNearlyFull() const
{
    constexpr int percent = 80;
    return total > 0 && used * 100 >= total * percent;
}

void StoreLevels::set(const QByteArray &memory, int used, int total)
{
    Level &level = m_levels[memory];
    level.used = used;
    level.total = total;
}

bool StoreLevels::isNearlyFull(const QByteArray &memory) const
{
    return m_levels.value(memory).isNearlyFull();
}

int StoreLevels::full() const
{
    return static_cast<int>(
        std::count_if(m_levels.cbegin(), m_levels.cend(), [](const Level &level) { return level.isFull(); }));
}

QList<ModemStatus::Memory> StoreLevels::memories() const
{
    QList<ModemStatus::Memory> memories;
    for (auto it = m_levels.cbegin(); it != m_levels.cend(); ++it) {
        if (it->total > 0)
            memories.append({QString::fromLatin1(it.key()), it->used, it->total});
    }
    return memories;
}

QStringList StoreLevels::takeNews()
{
    QStringList news;
    for (auto it = m_levels.begin(); it != m_levels.end(); ++it) {
        Level &level = it.value();
        if (level.total <= 0)
            continue;
        // One that is full and loses a place is told no more than that it was full.
        const QString state = level.isFull()          ? u"已满"_s
                              : !level.isNearlyFull() ? QString()
                              : level.told.isEmpty()  ? u"将满"_s
                                                      : level.told;
        if (std::exchange(level.told, state) == state)
            continue;
        const QString store = u"短信猫存储器 "_s + QString::fromLatin1(it.key());
        news += state.isEmpty()
                    ? store + u" 已有空位"_s
                    : u"%1 %2：已用 %3，共 %4"_s.arg(store, state).arg(level.used).arg(level.total);
    }
    return news;
}
