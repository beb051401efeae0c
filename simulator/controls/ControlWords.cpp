#include "simulator/controls/ControlWords.h"

#include "simulator/dialogue/AnswerScript.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace simulator
{
QString ControlWords::word(const QString &what)
{
    // One blank ends a word; further ones belong to a text that follows.
    static const QRegularExpression first(uR"re(^(?:"([^"]*)"|([^ ]+)) ?)re"_s);
    const QRegularExpressionMatch match = first.match(m_rest);
    if (!match.hasMatch())
        throw ControlError(what + u" expected"_s);
    m_rest = m_rest.mid(match.capturedEnd());
    return match.captured(1) + match.captured(2);
}

int ControlWords::number(int min, int max)
{
    const QString text = word(u"a number"_s);
    bool ok = false;
    const int value = text.toInt(&ok);
    if (!ok || value < min || value > max)
        throw ControlError(u"a number from %1 to %2 expected, not \"%3\""_s.arg(min).arg(max).arg(text));
    return value;
}

int ControlWords::countOrAlways()
{
    return takeIf(u"always"_s) ? AnswerScript::always : count();
}

std::chrono::milliseconds ControlWords::milliseconds()
{
    constexpr int millisecondsADay = 24 * 60 * 60 * 1000;
    return std::chrono::milliseconds(number(0, millisecondsADay));
}

int ControlWords::choice(const QStringList &choices)
{
    const QString names = choices.join(u" or "_s);
    const QString text = word(names);
    if (!choices.contains(text))
        throw ControlError(u"%1 expected, not \"%2\""_s.arg(names, text));
    return static_cast<int>(choices.indexOf(text));
}

bool ControlWords::takeIf(const QString &word)
{
    if (m_rest != word && !m_rest.startsWith(word + u' '))
        return false;
    m_rest = m_rest.mid(word.size() + 1);
    return true;
}

QByteArray ControlWords::escaped()
{
    static const QRegularExpression escape(uR"(\\(x([0-9A-Fa-f]{2})|[^x]))"_s);
    const QByteArray text = rest().toUtf8();
    QByteArray resolved;
    qsizetype at = 0;
    for (auto matches = escape.globalMatch(QString::fromLatin1(text)); matches.hasNext();) {
        const QRegularExpressionMatch match = matches.next();
        const char name = text[match.capturedStart(1)];
        resolved += text.mid(at, match.capturedStart() - at);
        if (name == 'x')
            resolved += QByteArray::fromHex(match.captured(2).toLatin1());
        else
            resolved += name == 'r' ? '\r' : name == 'n' ? '\n' : name == 'e' ? '\x1b' : name;
        at = match.capturedEnd();
    }
    return resolved + text.mid(at);
}

QByteArray ControlWords::framedLines()
{
    return "\r\n" + escaped().replace("|", "\r\n\r\n") + "\r\n";
}

void ControlWords::end() const
{
    if (!m_rest.isEmpty())
        throw ControlError(u"\"%1\" is one word too many"_s.arg(m_rest));
}
} // namespace simulator
