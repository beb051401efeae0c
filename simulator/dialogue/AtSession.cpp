#include "simulator/dialogue/AtSession.h"

#include <utility>

namespace simulator
{
namespace
{
constexpr char cancel = 0x1b;
constexpr char endOfBody = 0x1a;
constexpr qsizetype maxCommandLine = 2048;
constexpr qsizetype maxBody = 4096;
constexpr qsizetype maxInput = 1'048'576; ///< more than that sent to a busy modem is lost

QByteArray lineText(const QByteArray &text)
{
    return "\r\n" + text + "\r\n";
}

QByteArray informationText(const QByteArrayList &lines)
{
    return lines.isEmpty() ? QByteArray() : lineText(lines.join("\r\n"));
}
} // namespace

AtSession::AtSession(ResultFormat &format, std::function<Reply(const AtCommand &)> run)
    : m_format(format), m_run(std::move(run)), m_dueAnswers(std::make_unique<QObject>())
{
    m_deaf.setSingleShot(true);
    m_deaf.setTimerType(Qt::PreciseTimer);
}

void AtSession::feed(const QByteArray &octets)
{
    if (m_hung || m_deaf.isActive() || m_input.size() > maxInput)
        return;
    m_input += octets;
    process();
}

void AtSession::process()
{
    if (m_processing)
        return;
    m_processing = true;
    qsizetype at = 0;
    while (at < m_input.size()) {
        if (m_state == State::Running) {
            if (!m_interruptible)
                break;
            m_state = State::Command;
            ++m_waitNumber;
            m_commands.clear();
        }
        const char c = m_input[at++];
        if (m_state == State::Body)
            takeBodyCharacter(c);
        else
            takeCommandCharacter(c);
    }
    m_input.remove(0, at);
    flushEcho();
    m_processing = false;
}

void AtSession::takeCommandCharacter(char c)
{
    if (c == '\n')
        return;
    if (m_format.echo)
        m_echo += c;
    if (c == '\r')
        runLine();
    else if (m_line.size() <= maxCommandLine)
        m_line += c;
}

void AtSession::takeBodyCharacter(char c)
{
    if (c == '\n')
        return;
    if (c == endOfBody || c == cancel) {
        endBody(c == cancel);
        return;
    }
    if (m_format.echo)
        m_echo += c;
    if (c != '\r' && m_line.size() <= maxBody)
        m_line += c;
}

void AtSession::runLine()
{
    const QByteArray line = std::exchange(m_line, {});
    flushEcho();
    m_commands = parseAtCommandLine(line);
    if (m_commands.isEmpty())
        return;
    for (const QByteArray &unsolicited : std::exchange(m_forNextCommand, {}))
        sendUnsolicited({unsolicited});
    if (line.size() > maxCommandLine) {
        m_commands.clear();
        answer(Reply::error());
        return;
    }
    runNextCommand();
}

void AtSession::runNextCommand()
{
    const AtCommand command = m_commands.takeFirst();
    answer(m_run(command));
}

void AtSession::answer(const Reply &reply)
{
    m_state = State::Running;
    m_interruptible = reply.interruptible;
    const int waitNumber = ++m_waitNumber;
    if (reply.deafFor.count() > 0)
        m_deaf.start(reply.deafFor);
    for (const QByteArray &line : reply.unsolicitedBefore)
        sendUnsolicited({line});
    if (reply.delay.count() == 0) {
        finish(reply, true);
        return;
    }
    QTimer::singleShot(reply.delay, Qt::PreciseTimer, m_dueAnswers.get(), [this, reply, waitNumber] {
        finish(reply, waitNumber == m_waitNumber);
        process();
    });
}

/// Writes what a reply says. When the line no longer waits for it, the state of the dialogue stays as it is.
void AtSession::finish(const Reply &reply, bool endsLine)
{
    if (reply.takeBody) {
        if (endsLine)
            beginBody(reply);
        return;
    }
    if (reply.raw) {
        write(*reply.raw);
        if (endsLine) {
            m_commands.clear();
            m_state = State::Command;
        }
        return;
    }
    QByteArray text = informationText(reply.lines);
    const bool more = endsLine && reply.final == Reply::Final::Ok && !m_commands.isEmpty();
    if (!more)
        text += finalText(reply);
    write(text + informationText(reply.linesAfter));
    if (!endsLine || reply.final == Reply::Final::Nothing)
        return;
    if (more) {
        runNextCommand();
    } else {
        m_commands.clear();
        m_state = State::Command;
    }
}

void AtSession::beginBody(const Reply &reply)
{
    if (reply.withoutPrompt) {
        m_commands.clear();
        m_state = State::Command;
        return;
    }
    m_bodyReply = reply;
    m_state = State::Body;
    m_line.clear();
    prompt();
}

void AtSession::prompt()
{
    flushEcho();
    switch (m_promptStyle) {
    case PromptStyle::Usual:
        write("\r\n> ");
        break;
    case PromptStyle::Bare:
        write(">");
        break;
    case PromptStyle::Line:
        write("\r\n>\r\n");
        break;
    }
}

void AtSession::endBody(bool cancelled)
{
    const QByteArray body = std::exchange(m_line, {});
    const Reply prompted = std::exchange(m_bodyReply, {});
    flushEcho();
    if (cancelled)
        answer(Reply::ok());
    else
        answer(prompted.takeBody(body));
}

void AtSession::sendUnsolicited(const QByteArrayList &lines)
{
    write(informationText(lines));
}

void AtSession::restart()
{
    m_dueAnswers = std::make_unique<QObject>();
    m_state = State::Command;
    ++m_waitNumber;
    m_commands.clear();
    m_line.clear();
    m_echo.clear();
    m_input.clear();
    m_forNextCommand.clear();
    m_deaf.stop();
}

void AtSession::write(const QByteArray &octets)
{
    flushEcho();
    if (!m_hung && !octets.isEmpty())
        emit send(octets);
}

void AtSession::flushEcho()
{
    const QByteArray echo = std::exchange(m_echo, {});
    if (!m_hung && !echo.isEmpty())
        emit send(echo);
}

QByteArray AtSession::finalText(const Reply &reply) const
{
    switch (reply.final) {
    case Reply::Final::Ok:
        return lineText("OK");
    case Reply::Final::CmeError:
        if (m_format.errorNumbers != 0)
            return lineText("+CME ERROR: " + QByteArray::number(reply.code));
        [[fallthrough]];
    case Reply::Final::Error:
        return lineText("ERROR");
    case Reply::Final::CmsError:
        return lineText("+CMS ERROR: " + QByteArray::number(reply.code));
    case Reply::Final::Nothing:
        return {};
    }
    Q_UNREACHABLE();
}
} // namespace simulator
