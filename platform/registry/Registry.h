#pragma once

#include <QString>

/// Text values addressed by one full path: root key, key path and value name joined by "\",
/// for example HKEY_LOCAL_MACHINE\Software\Maker\Product\Value.
class Registry
{
public:
    Registry() = default;
    virtual ~Registry() = default;
    Registry(const Registry &) = delete;
    Registry &operator=(const Registry &) = delete;

    /// The value stored at the path; a null text (which equals "") when there is none.
    /// Throws Fault when the store is there but cannot be read.
    [[nodiscard]] virtual QString read(const QString &path) const = 0;

    /// What of the store cannot be understood, in words; "" for nothing. Throws Fault as read() does.
    [[nodiscard]] virtual QString damage() const { return {}; }

    /// Creates or overwrites the value; it reads back as the same text.
    /// Throws Fault when it cannot be stored; the store is then as it was.
    virtual void write(const QString &path, const QString &value) = 0;
};
