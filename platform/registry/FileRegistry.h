#pragma once

#include "platform/registry/Registry.h"

#include <QList>

/// The registry of systems that have none: an INI file, one group a key, one line a value, UTF-8.
///
///     [HKEY_LOCAL_MACHINE\Software\Maker\Product]
///     Value=text to the end of the line
///
/// Lines that begin with ";" or "#" are comments; writing a value changes its line alone. A value with control
/// characters, with blanks at an end or with a quote mark in front is written as a JSON string. The file is made
/// readable by its owner alone and replaced as a whole, so that a crash never leaves half of it.
class FileRegistry final : public Registry
{
public:
    explicit FileRegistry(QString fileName);

    [[nodiscard]] QString read(const QString &path) const override;
    [[nodiscard]] QString damage() const override;
    void write(const QString &path, const QString &value) override;

    [[nodiscard]] const QString &fileName() const { return m_fileName; }

private:
    [[nodiscard]] QList<QByteArray> lines() const;

    QString m_fileName;
};
