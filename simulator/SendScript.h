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
    void add(int count, const SendFate &fate) { m_coming += Step{count, fate}; }
    /// Every send to that number is refused until code 0 takes it back.
    void refuseNumber(const QString &number, int code);
    void mutePrompts(int count) { m_mutedPrompts = count; }
    void clear();

    /// Takes the fate of a send to that number.
    SendFate take(const QString &number);
    /// Takes whether a send command stays without its prompt.
    bool takeMutedPrompt();

    /// What is planned, for people: "refuse 2 (38), mute 1"; "nothing" when sends are accepted.
    [[nodiscard]] QString summary() const;

private:
    struct Step {
        int count;
        SendFate fate;
    };
    QList<Step> m_coming;
    QHash<QString, int> m_refusedNumbers;
    int m_mutedPrompts = 0;
};
} // namespace simulator
