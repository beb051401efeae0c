#include "modem/line/AtChannel.h"

#include "modem/line/AnswerFields.h"
#include "modem/line/RestartAnnouncement.h"
#include "modem/line/SerialLine.h"

#include <algorithm>
#include <cctype>

namespace
{

constexpr char escape = '\x1b';
constexpr char controlZ = '\x1a';

/// Nothing that was given up is answered later.
constexpr std::chrono::minutes lateAtMost{5};

} // namespace

AtChannel::AtChannel(SerialLine &line, const ModemLimits &limits, QObject *parent)
    : QObject(parent), m_line(line), m_limits(limits)
{
    connect(&m_line, &SerialLine::octetsArrived, this, [this] {
        if (!m_busy)
            drainIdle();
    });
}

AtAnswer AtChannel::exchange(const QByteArray &command, const QByteArray &prefix,
                             std::chrono::milliseconds limit, Expect expect)
{
    Q_ASSERT(!m_busy);
    const QDeadlineTimer deadline(limit);
    if (!isSynchronised() && !resynchronise(m_limits.resync))
        return {.end = m_line.isOpen() ? AtAnswer::End::TimedOut : AtAnswer::End::Lost};
    if (m_splitter.wantsLineFeed())
        listen(m_limits.lineFeed); // some modems lose an octet that comes before it is out
    drainIdle();
    while (m_splitter.takePrompt()) { // that nobody waits for
    }
    m_echo = spelled(command);
    m_prefix = prefix;
    m_busy = true;
    ++m_exchanges;
    AtAnswer answer = ask(m_echo + '\r', expect, deadline);
    if (answer.end == AtAnswer::End::TimedOut)
        m_owedResults.append(QDeadlineTimer(lateAtMost));
    m_busy = false;
    setRestAside();
    return answer;
}

AtAnswer AtChannel::sendPayload(const QByteArray &hexDigits, std::chrono::milliseconds limit)
{
    Q_ASSERT(!m_busy);
    m_lateResult.reset();
    m_echo = hexDigits;
    m_prefix = "+CMGS:";
    m_busy = true;
    AtAnswer answer = ask(hexDigits + controlZ, Expect::MessageReference, QDeadlineTimer(limit));
    m_busy = false;
    setRestAside();
    return answer;
}

/// Writes octets, which m_echo and m_prefix belong to, and waits for their answer.
AtAnswer AtChannel::ask(const QByteArray &octets, Expect expect, const QDeadlineTimer &deadline)
{
    switch (m_line.write(octets, deadline)) {
    case SerialLine::Wait::Ready:
        return collect(expect, deadline);
    case SerialLine::Wait::TimedOut:
        m_step = Step::OutOfStep;
        return {.end = AtAnswer::End::TimedOut};
    case SerialLine::Wait::Lost:
        return {.end = AtAnswer::End::Lost};
    }
    Q_UNREACHABLE();
}

AtAnswer AtChannel::collect(Expect expect, const QDeadlineTimer &deadline)
{
    m_answer = {.isHandedOver = expect == Expect::MessageReference};
    m_settled.reset();
    m_isOwed = false;
    while (!processInput(expect)) {
        QDeadlineTimer until = m_settled ? std::min(deadline, *m_settled) : deadline;
        // A long answer may take long, but it does not pause: a modem that says nothing more is not
        // waited for.
        if (expect == Expect::LinesWithPayload)
            until = std::min(until, QDeadlineTimer(m_limits.command));
        switch (m_line.waitForOctets(until)) {
        case SerialLine::Wait::Ready:
            m_splitter.feed(m_line.readAll());
            break;
        case SerialLine::Wait::TimedOut:
            if (m_settled) {
                if (m_isOwed || m_answer.end != AtAnswer::End::Final)
                    m_step = Step::OutOfStep;
                return m_answer;
            }
            m_step = Step::OutOfStep;
            m_answer.end = AtAnswer::End::TimedOut;
            return m_answer;
        case SerialLine::Wait::Lost:
            m_answer.end = AtAnswer::End::Lost;
            return m_answer;
        }
    }
    return m_answer;
}

/// What has come so far is the answer if nothing more comes for that long.
void AtChannel::settleUnless(std::chrono::milliseconds silence)
{
    m_settled = QDeadlineTimer(silence);
}

bool AtChannel::isQuestion(Expect expect) const
{
    return expect != Expect::Prompt && expect != Expect::Text && !m_prefix.isEmpty();
}

/// True when the answer is complete. Octets behind it stay for later.
bool AtChannel::processInput(Expect expect)
{
    while (true) {
        if (expect == Expect::Prompt && m_splitter.takePrompt()) {
            m_answer.end = AtAnswer::End::Prompt;
            return true;
        }
        const std::optional<QByteArray> line = m_splitter.takeLine();
        if (!line)
            return false;
        if (takeAnswerLine(*line, expect))
            return true;
    }
}

bool AtChannel::takeAnswerLine(const QByteArray &received, Expect expect)
{
    if (m_unsolicited.takePayload(received)) {
        emit unsolicitedArrived();
        return false;
    }
    const QByteArray line = withoutEcho(received);
    if (line.isEmpty())
        return false;
    if (const std::optional<FinalResult> result = finalResult(line))
        return takeResult(*result, expect);
    const bool isPlain = std::isalnum(static_cast<unsigned char>(line.front())) != 0 || line.front() == '"';
    if (expect == Expect::Text &&
        (startsWithWord(line, m_prefix) || (isPlain && line != "RING" && !announcesRestart(line)))) {
        m_answer.lines.append({line, {}});
        return false;
    }
    if (isQuestion(expect) && startsWithWord(line, m_prefix)) {
        if (m_answer.lines.size() < ModemBounds::answerLines)
            m_answer.lines.append({line, {}});
        m_sayResultFirst = m_sayResultFirst || (m_settled && m_answer.lines.size() == 1);
        if (expect == Expect::Lines || expect == Expect::MessageReference) {
            m_isOwed = !m_settled || m_answer.end == AtAnswer::End::Restarted;
            m_answer.end = AtAnswer::End::Final;
            settleUnless(m_limits.straggler);
        }
        return false;
    }
    if (expect == Expect::LinesWithPayload && isHexDigits(line) && !m_answer.lines.isEmpty() &&
        m_answer.lines.last().payload.isEmpty()) {
        m_answer.lines.last().payload = line;
        return false;
    }
    setAside(line);
    noteRestart(line, expect);
    return false;
}

/// Only the line that was asked for, or the prompt, proves that a result is not a late one of
/// another command.
bool AtChannel::takeResult(const FinalResult &result, Expect expect)
{
    if (isLate(result, expect))
        return false;
    const bool isOk = result.kind == FinalResult::Kind::Ok;
    m_answer.end = AtAnswer::End::Final;
    m_answer.result = result;
    m_isOwed = false;
    if (expect == Expect::Prompt) {
        settleUnless(m_limits.straggler);
        return false;
    }
    if (expect != Expect::MessageReference)
        noteLateError(result);
    // An OK alone is a whole listing, of a modem that was never seen to say it first.
    const bool isAnswer =
        expect == Expect::LinesWithPayload && m_echoing == Echo::Unexpected && !m_sayResultFirst;
    if (!isQuestion(expect) || !isOk || !m_answer.lines.isEmpty() || isAnswer)
        return true;
    settleUnless(expect == Expect::MessageReference ? m_limits.lateReference : m_limits.quiet);
    return false;
}

/// True of the result of a command that was given up: a TPDU may wait for its own for minutes, and says by
/// "+CMGS:" or "+CMS ERROR:" that it is its own.
bool AtChannel::isLate(const FinalResult &result, Expect expect)
{
    const bool isOwn =
        !m_answer.lines.isEmpty() || (result.kind == FinalResult::Kind::CmsError && !isOfStore(result));
    m_owedResults.removeIf([](const QDeadlineTimer &owed) { return owed.hasExpired(); });
    if (expect != Expect::MessageReference || isOwn || m_owedResults.isEmpty())
        return false;
    m_owedResults.removeFirst();
    return true;
}

/// What the modem was asked before it started anew is hardly answered any more.
void AtChannel::noteRestart(const QByteArray &line, Expect expect)
{
    if (expect != Expect::MessageReference || !announcesStart(line) || m_settled)
        return;
    m_answer.end = AtAnswer::End::Restarted;
    settleUnless(m_limits.afterRestart);
}

QByteArray AtChannel::withoutEcho(const QByteArray &line)
{
    if (m_echo.isEmpty() || !startsWithWord(line, m_echo))
        return line;
    QByteArray rest = line.sliced(m_echo.size()).trimmed();
    m_echo.clear(); // a command is echoed once
    m_answer.isEchoUnexpected = m_echoing == Echo::Unexpected;
    if (m_echoing == Echo::NotSeen)
        m_echoing = Echo::Seen;
    return rest;
}

void AtChannel::setAside(const QByteArray &line)
{
    if (m_unsolicited.takePayload(line))
        emit unsolicitedArrived();
    else if (startsWithWord(line, "+CMGS:"))
        m_lateResult = answerFields(line).first().number() ? std::optional(true) : m_lateResult;
    else if (m_unsolicited.add(line))
        emit unsolicitedArrived();
}

/// Nothing by which the modem is looked for is answered by a +CMS ERROR.
void AtChannel::noteLateError(const FinalResult &result)
{
    if (isOfNetwork(result) || (m_isSearching && result.kind == FinalResult::Kind::CmsError))
        m_lateResult = m_lateResult.value_or(false);
}

/// Everything that comes while no command runs is unsolicited; a stray final result means nothing, if it is not an
/// earlier text's.
void AtChannel::drainIdle()
{
    m_splitter.feed(m_line.readAll());
    setRestAside();
}

/// What came together with an answer, behind it: no further octets tell of it.
void AtChannel::setRestAside()
{
    while (const std::optional<QByteArray> line = m_splitter.takeLine()) {
        if (const auto result = finalResult(*line))
            noteLateError(*result);
        else
            setAside(*line);
    }
}

QList<AtLine> AtChannel::takeUnsolicited()
{
    listen(std::chrono::milliseconds(0)); // what the device holds is not read before somebody asks
    return m_unsolicited.take();
}

bool AtChannel::isLineOpen() const
{
    return m_line.isOpen();
}

void AtChannel::listen(std::chrono::milliseconds limit)
{
    m_busy = true;
    static_cast<void>(m_line.waitForOctets(QDeadlineTimer(limit)));
    m_busy = false;
    drainIdle();
}

void AtChannel::reset()
{
    m_splitter.clear();
    m_unsolicited = {};
    m_step = Step::Fresh;
    m_lowerCase = false;
    m_sayResultFirst = false;
    forgetEcho();
}

bool AtChannel::takeFoundAgain()
{
    if (m_step != Step::FoundAgain)
        return false;
    m_step = Step::InStep;
    return true;
}

void AtChannel::watchEcho()
{
    if (m_echoing == Echo::NotSeen)
        m_echoing = Echo::Unexpected;
}

/// Commands in the case that the modem understands; what is in quotes is data.
QByteArray AtChannel::spelled(const QByteArray &command) const
{
    if (!m_lowerCase)
        return command;
    QByteArray lower = command;
    bool quoted = false;
    for (char &c : lower) {
        if (c == '"')
            quoted = !quoted;
        else if (!quoted)
            c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return lower;
}

bool AtChannel::resynchronise(std::chrono::milliseconds limit)
{
    Q_ASSERT(!m_busy);
    const QDeadlineTimer deadline(limit);
    const bool knownLowerCase = m_lowerCase;
    for (int attempt = 0; m_line.isOpen() && (attempt == 0 || !deadline.hasExpired()); ++attempt) {
        m_isSearching = true;
        drainIdle();
        // Later attempts are for rare modems: some were left without result codes or with numeric ones, some
        // know only lower case.
        m_lowerCase = knownLowerCase || attempt % 4 == 3;
        m_busy = true;
        const AtAnswer answer = findModem(attempt % 2 == 0 ? "AT" : "ATQ0V1", deadline);
        m_busy = false;
        m_isSearching = false;
        if (answer.end == AtAnswer::End::Final) {
            m_step = Step::FoundAgain;
            return true;
        }
    }
    m_lowerCase = knownLowerCase;
    return false;
}

/// One attempt. ESC leaves a prompt and AT must be answered; but that answer may be a late one of an earlier
/// command, or ESC may have had one of its own. Only a line that nothing else says proves that all of them
/// are through, so a question with a prefix follows. End::Final means in step.
AtAnswer AtChannel::findModem(const QByteArray &command, const QDeadlineTimer &deadline)
{
    const auto attemptDeadline = [&] { return std::min(QDeadlineTimer(m_limits.syncAttempt), deadline); };
    m_prefix.clear();
    m_echo = spelled(command);
    // Some modems take an ESC that leaves no prompt amiss.
    const QByteArray leave =
        std::exchange(m_step, Step::OutOfStep) == Step::Fresh ? QByteArray() : QByteArray(1, escape);
    AtAnswer answer = ask(leave + m_echo + '\r', Expect::Lines, attemptDeadline());
    if (answer.end != AtAnswer::End::Final)
        return answer;

    m_echo = spelled("AT+CMEE?");
    m_prefix = "+CMEE:";
    const QDeadlineTimer until = attemptDeadline();
    answer = ask(m_echo + '\r', Expect::Lines, until);
    // A result without the line is late, or the modem does not know the question and refuses it or says OK to
    // anything: silence behind it tells.
    const auto isSilent = [this] {
        return m_line.waitForOctets(QDeadlineTimer(m_limits.quiet)) != SerialLine::Wait::Ready;
    };
    while (answer.end == AtAnswer::End::Final && answer.lines.isEmpty() && !isSilent())
        answer = collect(Expect::Lines, until);
    return answer;
}
