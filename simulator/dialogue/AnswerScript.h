#pragma once

#include "simulator/dialogue/AtCommandLine.h"
#include "simulator/dialogue/Reply.h"

#include <QList>

namespace simulator
{
/// What is done to one answer.
struct AnswerChange {
    enum class Kind {
        Whole,   ///< text is written in its place, octet for octet; the command is not carried out
        Drop,    ///< a line is missing
        Garble,  ///< a character in the middle of a line is another
        Shorten, ///< the last octet (two digits) of a line is missing
        Insert,  ///< text is written as a line before that line
        Replace, ///< text is written in place of a line
        NoFinal, ///< the final result never comes
        OkFirst, ///< the lines come behind the final result
        Late,    ///< the answer comes after the delay; the modem takes commands meanwhile
        Restart  ///< the command is carried out, but the modem restarts instead of answering
    };
    Kind kind = Kind::Whole;
    int line = 0; ///< from 1; from the last one backwards when negative
    QByteArray text = {};
    std::chrono::milliseconds delay{0};
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

private:
    struct Rule {
        int count;
        QByteArray pattern;
        AnswerChange change;

        [[nodiscard]] bool fits(const QByteArray &command) const;
        void countDown();
    };

    QList<Rule> m_rules;
};

/// A command as it was typed, without the "AT": "+CMGL=4", "+CPIN?", "E0".
QByteArray spelled(const AtCommand &command);
} // namespace simulator
