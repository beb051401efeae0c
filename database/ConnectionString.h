#pragma once

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
    struct Entry {
        QString key; ///< as written
        QString value;
    };

    /// Throws DatabaseFault (Refused) for a text that does not follow the form.
    explicit ConnectionString(const QString &text);

    /// The value of the first of these keys that is present, else an empty text.
    [[nodiscard]] QString value(std::initializer_list<QLatin1String> keys) const;
    [[nodiscard]] bool contains(QLatin1String key) const;
    [[nodiscard]] bool isEmpty() const { return m_entries.isEmpty(); }
    /// Every key once, in the order of the text.
    [[nodiscard]] const QList<Entry> &entries() const { return m_entries; }

    /// The same text with the value of every password key replaced, for people's eyes.
    [[nodiscard]] static QString masked(const QString &text);

private:
    QList<Entry> m_entries;
};
