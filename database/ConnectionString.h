#pragma once

#include "database/driver/DatabaseFault.h"

#include <QList>
#include <QString>

/// The keys and values of a connection string, OLE DB or ODBC style: "Key=Value;Key=Value;...".
///
/// Keys are compared without regard to letter case and outer blanks. A value may be in double or single
/// quotes (a doubled quote inside is one quote) or in braces (a doubled closing brace is one); blanks around
/// a bare value do not count. In an ODBC style text (one with DRIVER or DSN) quotes mean nothing in
/// themselves: a value that merely begins with one is taken as it is. The last of several equal keys
/// wins. Texts of faults name keys, never values.
class ConnectionString
{
public:
    using Keys = std::initializer_list<QLatin1String>;
    struct Entry {
        QString key; ///< as written
        QString value;
    };

    /// Throws DatabaseFault (Refused) for a text that does not follow the form.
    explicit ConnectionString(const QString &text);

    /// The value of the first of these keys that is present, else an empty text.
    [[nodiscard]] QString value(Keys keys) const;
    [[nodiscard]] bool contains(QLatin1String key) const { return find({key}) != nullptr; }
    [[nodiscard]] bool isEmpty() const { return m_entries.isEmpty(); }
    /// Every key once, in the order of the text.
    [[nodiscard]] const QList<Entry> &entries() const { return m_entries; }

    /// The same text with the value of every password key replaced, for people's eyes.
    [[nodiscard]] static QString masked(const QString &text);

private:
    /// None when no such key is present.
    [[nodiscard]] const Entry *find(Keys keys) const;

    QList<Entry> m_entries;
};

/// True for a key, or a value that is a word, that is one of these, letter case apart.
[[nodiscard]] bool isOneOf(const QString &key, ConnectionString::Keys keys);
/// True for a value that switches on: anything but nothing, "no", "false", "0" and "optional".
[[nodiscard]] bool isYes(const QString &value);
/// What a connection string that cannot be followed ends in.
[[nodiscard]] DatabaseFault refusedString(const QString &what);
