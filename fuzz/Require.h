#pragma once

#include <QByteArrayView>
#include <QString>
#include <cstdlib>

/// An invariant; libFuzzer reports the input that breaks it.
inline void require(bool holds)
{
    if (!holds)
        std::abort();
}

/// Text that every database takes.
inline void requireStorable(const QString &text)
{
    require(text.isValidUtf16() && !text.contains(QChar(u'\0')));
}

inline QByteArrayView octetsOf(const uint8_t *data, size_t size)
{
    return {reinterpret_cast<const char *>(data), static_cast<qsizetype>(size)};
}
