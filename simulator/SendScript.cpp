#include "simulator/SendScript.h"

#include <QStringList>

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
QString describe(int count, const SendFate &fate)
{
    const auto milliseconds = static_cast<qint64>(fate.duration.count());
    switch (fate.kind) {
    case SendFate::Kind::Accept:
        return u"accept %1"_s.arg(count);
    case SendFate::Kind::Refuse:
        return u"refuse %1 (%2)"_s.arg(count).arg(fate.code);
    case SendFate::Kind::BareOk:
        return u"bare-ok %1"_s.arg(count);
    case SendFate::Kind::Mute:
        return u"mute %1 (%2 ms)"_s.arg(count).arg(milliseconds);
    case SendFate::Kind::Late:
        return u"late %1 (%2 ms)"_s.arg(count).arg(milliseconds);
    case SendFate::Kind::Slow:
        return u"slow %1 (%2 ms)"_s.arg(count).arg(milliseconds);
    }
    Q_UNREACHABLE();
}
} // namespace

void SendScript::refuseNumber(const QString &number, int code)
{
    if (code == 0)
        m_refusedNumbers.remove(number);
    else
        m_refusedNumbers.insert(number, code);
}

void SendScript::clear()
{
    *this = {};
}

SendFate SendScript::take(const QString &number)
{
    if (const int code = m_refusedNumbers.value(number); code != 0)
        return {.kind = SendFate::Kind::Refuse, .code = code};
    if (m_coming.isEmpty())
        return {};
    const SendFate fate = m_coming.first().fate;
    if (--m_coming.first().count <= 0)
        m_coming.removeFirst();
    return fate;
}

bool SendScript::takeMutedPrompt()
{
    if (m_mutedPrompts == 0)
        return false;
    --m_mutedPrompts;
    return true;
}

QString SendScript::summary() const
{
    QStringList parts;
    for (const Step &step : m_coming)
        parts += describe(step.count, step.fate);
    for (auto it = m_refusedNumbers.cbegin(); it != m_refusedNumbers.cend(); ++it)
        parts += u"refuse-number %1 (%2)"_s.arg(it.key()).arg(it.value());
    if (m_mutedPrompts > 0)
        parts += u"mute-prompt %1"_s.arg(m_mutedPrompts);
    return parts.isEmpty() ? u"nothing"_s : parts.join(u", "_s);
}
} // namespace simulator
