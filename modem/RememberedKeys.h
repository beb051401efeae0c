#pragma once

#include "modem/line/ModemLimits.h"

#include <QByteArray>
#include <QCache>

/// The newest ModemBounds::rememberedCopies of what was put in.
class RememberedKeys
{
public:
    void insert(const QByteArray &key) { m_keys.insert(key, new Nothing); } // which the cache owns
    void removeOf(const QByteArray &beginning)
    {
        for (const QByteArray &key : m_keys.keys()) {
            if (key.startsWith(beginning))
                m_keys.remove(key);
        }
    }
    void clear() { m_keys.clear(); }
    [[nodiscard]] bool contains(const QByteArray &key) const { return m_keys.contains(key); }

private:
    struct Nothing {
    };

    QCache<QByteArray, Nothing> m_keys{ModemBounds::rememberedCopies};
};
