#include "simulator/controls/ControlWords.h"

#include <QStringList>

using namespace Qt::StringLiterals;

namespace simulator
{
QString ControlWords::word(const QString &what)
{
    if (m_rest.isEmpty())
        throw ControlError(what + u" expected"_s);
    const bool quoted = m_rest.startsWith(u'"') && m_rest.indexOf(u'"', 1) > 0;
    const qsizetype start = quoted ? 1 : 0;
    qsizetype end = m_rest.indexOf(quoted ? u'"' : u' ', start);
    if (end < 0)
        end = m_rest.size();
    QString taken = m_rest.mid(start, end - start);
    qsizetype next = end + start;
    // One blank ends a word; further ones belong to a text that follows.
    if (next < m_rest.size() && m_rest[next] == u' ')
        ++next;
    m_rest = m_rest.mid(next);
    return taken;
}

int ControlWords::number(const QString &what, int min, int max)
{
    const QString text = word(what);
    bool ok = false;
    const int value = text.toInt(&ok);
    if (!ok || value < min || value > max)
        throw ControlError(
            u"%1 must be a number from %2 to %3, not \"%4\""_s.arg(what).arg(min).arg(max).arg(text));
    return value;
}

std::chrono::milliseconds ControlWords::milliseconds(const QString &what)
{
    constexpr int millisecondsADay = 24 * 60 * 60 * 1000;
    return std::chrono::milliseconds(number(what, 0, millisecondsADay));
}

std::optional<std::chrono::milliseconds> ControlWords::optionalMilliseconds(const QString &what)
{
    return isEmpty() ? std::nullopt : std::optional(milliseconds(what));
}

int ControlWords::choice(std::initializer_list<const char *> choices)
{
    QStringList names;
    for (const char *name : choices)
        names += QString::fromLatin1(name);
    const QString text = word(names.join(u" or "_s));
    if (!names.contains(text))
        throw ControlError(u"%1 expected, not \"%2\""_s.arg(names.join(u" or "_s), text));
    return static_cast<int>(names.indexOf(text));
}

QByteArray ControlWords::octets(const QString &what)
{
    const QByteArray hex = word(what).toLatin1();
    QByteArray octets = QByteArray::fromHex(hex);
    if (octets.isEmpty() || octets.toHex() != hex.toLower())
        throw ControlError(what + u" must be an even number of hexadecimal digits"_s);
    return octets;
}

QByteArray ControlWords::escaped()
{
    const QByteArray text = rest().toUtf8();
    QByteArray resolved;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            resolved += text[i];
            continue;
        }
        const char c = text[++i];
        if (c == 'x') {
            const QByteArray hex = text.mid(i + 1, 2);
            const QByteArray octet = QByteArray::fromHex(hex);
            if (hex.size() != 2 || octet.toHex() != hex.toLower())
                throw ControlError(u"\\x takes two hexadecimal digits"_s);
            resolved += octet;
            i += 2;
        } else {
            resolved += c == 'r' ? '\r' : c == 'n' ? '\n' : c == 'e' ? '\x1b' : c;
        }
    }
    return resolved;
}

bool ControlWords::takeIf(const QString &word)
{
    if (m_rest != word && !m_rest.startsWith(word + u' '))
        return false;
    m_rest = m_rest.mid(word.size() + 1);
    return true;
}

void ControlWords::end() const
{
    if (!m_rest.isEmpty())
        throw ControlError(u"\"%1\" is one word too many"_s.arg(m_rest));
}
} // namespace simulator
