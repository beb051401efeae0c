#pragma once

#include <QSet>
#include <QString>

/// The characters that a text encoding can hold. They are told by iconv (POSIX.1-2008), and by whoever found one
/// that his database's own table lacks.
class CharacterSet
{
public:
    /// All of Unicode.
    CharacterSet() = default;
    /// iconvName: a name that iconv does not know holds all.
    explicit CharacterSet(const QByteArray &iconvName);

    [[nodiscard]] bool holdsAll() const { return m_name == allOfUnicode && m_lacking.isEmpty(); }
    [[nodiscard]] bool holds(const QString &text) const { return fitted(text) == text; }
    /// The text with "?" for each character that the set lacks.
    [[nodiscard]] QString fitted(const QString &text) const;
    /// Has the set lack this character from now on; false when it lacked it already.
    bool exclude(char32_t character);

private:
    static constexpr auto allOfUnicode = "UTF-8";

    QByteArray m_name = allOfUnicode; // as iconv knows it
    QSet<uint> m_lacking;
};
