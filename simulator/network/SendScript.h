#pragma once

#include <QHash>
#include <QList>
#include <QString>
#include <chrono>

namespace simulator
{
/// What becomes of one send.
struct SendFate {
    enum class Kind {
        Accept,
        Refuse, ///< +CMS ERROR with code
        BareOk, ///< refused, but the modem says OK without a reference
        Mute,   ///< accepted; no result ever, and deaf for the duration
        Late,   ///< accepted; the result comes the duration late, and the modem takes commands meanwhile
        Slow    ///< accepted; the result comes the duration late, and commands wait for it
    };
    Kind kind = Kind::Accept;
    int code = 0;
    std::chrono::milliseconds duration{0};
};

/// The fates of the coming sends, in the order they were asked for; after the last one sends are accepted.
class SendScript
{
public:
    void add(int count, const SendFate &fate) { m_coming += QList<SendFate>(count, fate); }
    /// Every send to that number is refused until code 0 takes it back.
    void refuseNumber(const QString &number, int code) { m_refusedNumbers[number] = code; }
    void mutePrompts(int count) { m_mutedPrompts = count; }

    /// Takes the fate of a send to that number.
    [[nodiscard]] SendFate take(const QString &number)
    {
        if (const int code = m_refusedNumbers.value(number); code != 0)
            return {.kind = SendFate::Kind::Refuse, .code = code};
        return m_coming.isEmpty() ? SendFate{} : m_coming.takeFirst();
    }
    /// Takes whether a send command stays without its prompt.
    [[nodiscard]] bool takeMutedPrompt() { return m_mutedPrompts > 0 && m_mutedPrompts-- > 0; }

private:
    QList<SendFate> m_coming;
    QHash<QString, int> m_refusedNumbers;
    int m_mutedPrompts = 0;
};
} // namespace simulator
