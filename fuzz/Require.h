#pragma once

#include <QByteArrayView>
#include <cstdlib>

/// An invariant; libFuzzer reports the input that breaks it.
inline void require(bool holds)
{
    if (!holds)
        std::abort();
}

inline QByteArrayView octetsOf(const uint8_t *data, size_t size)
{
    return {reinterpret_cast<const char *>(data), static_cast<qsizetype>(size)};
}
