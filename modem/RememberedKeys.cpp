#include "modem/RememberedKeys.h"

#include "modem/line/ModemLimits.h"

void RememberedKeys::insert(const QByteArray &key)
{
    if (m_keys.contains(key))
        return;
    m_keys.insert(key);
    m_order.append(key);
    if (m_order.size() > ModemBounds::rememberedCopies)
        m_keys.remove(m_order.takeFirst());
}

void RememberedKeys::removeOf(const QByteArray &beginning)
{
    const auto isOne = [&beginning](const QByteArray &key) { return key.startsWith(beginning); };
    m_keys.removeIf(isOne);
    m_order.removeIf(isOne);
}
