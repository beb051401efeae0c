#pragma once

#include "simulator/dialogue/Reply.h"

#include <QList>

namespace simulator
{
/// What is done to one answer.
struct AnswerChange {
    enum class Kind {
        Usual,   ///< nothing, nor what rules behind this one want
        Whole,   ///< text is written in its place, octet for octet; the command is not carried out
        Drop,    ///< a line is missing
        Garble,  ///< a character in the middle of a line is another
        Shorten, ///< the last octet (two digits) of a line is missing
        Insert,  ///< text is written as a line before that line
        Replace, ///< text is written in place of a line
        OkFirst, ///< the lines come behind the final result
        NoFinal, ///< the final result never comes
        Mute,    ///< nothing comes
        Late,    ///< the answer comes number milliseconds late; the modem takes commands meanwhile
        Slow,    ///< ... and commands wait for it
        Restart, ///< the command is carried out, but the modem restarts instead of answering
        Unplug,  ///< ... hangs up the line
        Refuse,  ///< the network does not take the message: +CMS ERROR with the number
        BareOk   ///< ... and the modem says OK without a reference
    };
    Kind kind = Kind::Whole;
    int number =
        0; ///< of the line, from 1, from the last one backwards when negative; else what the kind says
    QByteArray text = {};
};

/// How the modem's answers differ from what they should be. One-time changes go before lasting ones.
class AnswerScript
{
public:
    static constexpr int always = -1;
    /// The answer to a prompted body goes by this name instead of a command's.
    static constexpr auto body = ">";

    /// The next count answers (or always) to commands that begin with pattern: "+CMGL", "+CPMS=", "" for
    /// a bare AT, "*" for any. A leading "AT" is left out. A change of a line waits for an answer with it.
    void add(int count, const QByteArray &pattern, const AnswerChange &change);

    /// The answer to that command as the rules want it; usual carries the command out.
    Reply run(const QByteArray &command, const std::function<Reply()> &usual);
    /// How the network refuses the message in hand; nullptr when it takes it. Valid until run() ends.
    const AnswerChange *takeRefusal();

private:
    struct Rule {
        int count;
        QByteArray pattern;
        AnswerChange change;

        [[nodiscard]] bool fits(const QByteArray &command) const;
        void countDown() { count -= count == always ? 0 : 1; }
    };

    QList<Rule> m_rules;
};
} // namespace simulator
