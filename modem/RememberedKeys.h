#pragma once

#include <QByteArray>
#include <QList>
#include <QSet>

/// The newest ModemBounds::rememberedCopies of what was put in, each once.
class RememberedKeys
{
public:
    void insert(const QByteArray &key);
    void removeOf(const QByteArray &beginning);
    void clear() { *this = {}; }
    [[nodiscard]] bool contains(const QByteArray &key) const { return m_keys.contains(key); }

private:
    QSet<QByteArray> m_keys;
    QList<QByteArray> m_order;
};
