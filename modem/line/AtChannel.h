#pragma once

#include "modem/line/AnswerFields.h"
#include "modem/line/FinalResult.h"
#include "modem/line/LineSplitter.h"
#include "modem/line/ModemLimits.h"
#include "modem/line/UnsolicitedLines.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QList>
#include <QObject>
#include <optional>
#include <utility>

class SerialLine;

/// How one exchange ended.
struct AtAnswer {
    enum class End {
        Final,     ///< result tells how
        Prompt,    ///< the modem waits for the TPDU
        TimedOut,  ///< nothing decisive came before the deadline; the channel is out of step
        Restarted, ///< the modem told that it has started anew, and nothing else; the channel is out of step
        Lost,      ///< the device is gone and the line closed
    };
    End end = End::Final;
    FinalResult result = {};
    QList<AtLine> lines = {};  ///< those with the expected prefix
    bool isHandedOver = false; ///< of a TPDU: all of it was written, so that the modem may have acted on it
    bool isEchoUnexpected = false; ///< what was written came back although the echo is off

    [[nodiscard]] bool isOk() const { return end == End::Final && result.kind == FinalResult::Kind::Ok; }
    [[nodiscard]] bool isLost() const { return end == End::Lost; }
    /// The parameters of the first line, none without one.
    [[nodiscard]] QList<AnswerField> fields() const
    {
        return lines.isEmpty() ? QList<AnswerField>() : answerFields(lines.first().text);
    }
};

/// AT command exchanges over a serial line, one at a time (ITU-T V.250, 3GPP TS 27.007).
/// An answer consists of the lines with the prefix that the command expects, up to a final result; every
/// other line is unsolicited, is set aside, and is told by a signal after the exchange. Echo may be on. An
/// exchange has one deadline for the whole of it. After a time-out the channel is out of step: the next
/// command first brings it back, so that a late answer is never taken for another command's.
/// A question, which is a command with a prefix, is answered by its line: a late OK of another command in
/// front of it changes nothing, and an OK that is missing or comes first is done without.
/// Rejected: to wait before every command until the line is quiet (ModemLimits::quiet). The two exchanges of an SMS
/// would then take 0.4 s, which without a network behind them take 0.25 ms on the simulated modem, and an answer
/// that is later than that would be taken for another's all the same.
class AtChannel final : public QObject
{
    Q_OBJECT
public:
    AtChannel(SerialLine &line, const ModemLimits &limits, QObject *parent = nullptr);

    /// What a command is answered by, besides its final result.
    enum class Expect {
        Lines,            ///< those with the prefix; none with "" as prefix
        LinesWithPayload, ///< the same, each with a line of hexadecimal digits behind it (+CMGL, +CMGR)
        Text,             ///< lines that bear no prefix, or not always (+CGMI, +CGSN)
        Prompt,           ///< nothing but the prompt of 3GPP TS 27.005, 3.5.1; then sendPayload() must follow
        MessageReference, ///< of sendPayload() alone
    };
    /// command: the whole command line without its end. prefix: "+CSQ:" and the like, "" when the answer is
    /// the final result alone.
    [[nodiscard]] AtAnswer exchange(const QByteArray &command, const QByteArray &prefix,
                                    std::chrono::milliseconds limit, Expect expect = Expect::Lines);
    /// hexDigits go out with Ctrl-Z behind them; isHandedOver of the answer tells whether all of it did. Its
    /// "+CMGS:" ends the wait, whether its OK follows or not, and so does the modem's restart.
    [[nodiscard]] AtAnswer sendPayload(const QByteArray &hexDigits, std::chrono::milliseconds limit);

    /// Finds the modem, leaves a prompt, and waits out late answers. On a line that was just opened the first
    /// AT goes without ESC. False when nothing answers within limit or the device is gone.
    [[nodiscard]] bool resynchronise(std::chrono::milliseconds limit);
    [[nodiscard]] bool isSynchronised() const { return m_step == Step::FoundAgain || m_step == Step::InStep; }
    /// True once after the modem had to be found again: it may have started anew.
    [[nodiscard]] bool takeFoundAgain();
    [[nodiscard]] bool isLineOpen() const;
    /// How many exchanges there were.
    [[nodiscard]] quint64 exchanges() const { return m_exchanges; }
    /// Waits until something arrives, at most limit long, and sets it aside as unsolicited.
    void listen(std::chrono::milliseconds limit);
    /// Forgets everything of an earlier device.
    void reset();
    /// Begins to watch the echo, after it was turned off: see watchEcho().
    void forgetEcho() { m_echoing = Echo::NotSeen; }
    /// From now on an echo is unexpected, unless this modem has gone on echoing since forgetEcho().
    void watchEcho();

    [[nodiscard]] QList<AtLine> takeUnsolicited();
    /// What came outside sendPayload() of a TPDU that was handed over before: "+CMGS: <mr>" (true), or a +CMS ERROR that
    /// no other command is answered by (false). Once; the next sendPayload() forgets it, reset() does not.
    [[nodiscard]] std::optional<bool> takeLateResult() { return std::exchange(m_lateResult, {}); }

signals:
    /// takeUnsolicited() has something new. Connect it queued: it may be emitted inside an exchange.
    void unsolicitedArrived();

private:
    enum class Step {
        Fresh,      ///< nothing was written yet since the line was opened
        OutOfStep,  ///< what comes next may be a late answer
        FoundAgain, ///< in step, and nobody knows yet that the modem had to be found
        InStep,
    };
    enum class Echo { NotSeen, Seen, Unexpected };

    AtAnswer ask(const QByteArray &octets, Expect expect, const QDeadlineTimer &deadline);
    AtAnswer collect(Expect expect, const QDeadlineTimer &deadline);
    AtAnswer findModem(const QByteArray &command, const QDeadlineTimer &deadline);
    bool processInput(Expect expect);
    bool takeAnswerLine(const QByteArray &received, Expect expect);
    bool takeResult(const FinalResult &result, Expect expect);
    void noteRestart(const QByteArray &line, Expect expect);
    void settleUnless(std::chrono::milliseconds silence);
    [[nodiscard]] bool isQuestion(Expect expect) const;
    QByteArray withoutEcho(const QByteArray &line);
    void setAside(const QByteArray &line);
    [[nodiscard]] bool isLate(const FinalResult &result, Expect expect);
    void noteLateError(const FinalResult &result);
    void drainIdle();
    void setRestAside();
    [[nodiscard]] QByteArray spelled(const QByteArray &command) const;

    SerialLine &m_line;
    ModemLimits m_limits;
    LineSplitter m_splitter;
    UnsolicitedLines m_unsolicited;
    bool m_busy = false; ///< what arrives is an exchange's, not idle talk
    quint64 m_exchanges = 0;
    Step m_step = Step::Fresh;
    Echo m_echoing = Echo::NotSeen;
    std::optional<bool> m_lateResult;
    bool m_isSearching = false;    ///< for the modem, by commands that know no +CMS ERROR
    bool m_sayResultFirst = false; ///< the modem says OK in front of the line that was asked for
    /// Of commands that were given up: what may still come, and until when. A line that is opened anew may be the
    /// same modem's.
    QList<QDeadlineTimer> m_owedResults;
    bool m_lowerCase = false; ///< the modem understands commands in lower case only

    // The exchange under way.
    QByteArray m_echo;
    QByteArray m_prefix;
    AtAnswer m_answer;
    std::optional<QDeadlineTimer> m_settled; ///< m_answer is final unless more comes until then
    bool m_isOwed = false;                   ///< a result may still come for the command of m_answer
};
