#include "simulator/dialogue/AtSession.h"

#include <QTimer>
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

QByteArray informationText(const QByteArrayList &lines)
{
    return lines.isEmpty() ? QByteArray() : "\r\n" + lines.join("\r\n") + "\r\n";
}
} // namespace

AtSession::AtSession(ResultFormat &format, std::function<Reply(const AtCommand &)> run)
    : m_format(format), m_run(std::move(run)), m_dueAnswers(std::make_unique<QObject>())
{
}

void AtSession::feed(const QByteArray &octets)
{
    if (m_hung || m_input.size() > maxInput)
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
        take(m_input[at++]);
    }
    m_input.remove(0, at);
    write({});
    m_processing = false;
}

void AtSession::take(char c)
{
    const bool isBody = m_state == State::Body;
    if (c == '\n')
        return;
    if (isBody && (c == endOfBody || c == cancel)) {
        const QByteArray body = std::exchange(m_line, {});
        answer(c == cancel ? Reply::ok() : m_takeBody(body));
        return;
    }
    if (m_format.echo)
        m_echo += c;
    if (c == '\r' && !isBody)
        runLine();
    else if (c != '\r' && m_line.size() <= (isBody ? maxBody : maxCommandLine))
        m_line += c;
}

void AtSession::runLine()
{
    const QByteArray line = std::exchange(m_line, {});
    m_commands = line.size() > maxCommandLine ? QList{AtCommand{"?", {}}} : parseAtCommandLine(line);
    if (!m_commands.isEmpty())
        answer(m_run(m_commands.takeFirst()));
}

void AtSession::answer(const Reply &reply)
{
    m_state = State::Running;
    m_interruptible = reply.interruptible;
    const int waitNumber = ++m_waitNumber;
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
        if (!endsLine)
            return;
        m_takeBody = reply.takeBody;
        m_state = State::Body;
        m_line.clear();
        write(m_prompt);
        return;
    }
    const bool more = endsLine && !reply.raw && reply.final == Reply::Final::Ok && !m_commands.isEmpty();
    const QByteArray usual = informationText(reply.lines) + (more ? QByteArray() : finalText(reply)) +
                             informationText(reply.linesAfter);
    write(reply.raw.value_or(usual));
    if (more) {
        answer(m_run(m_commands.takeFirst()));
    } else if (endsLine) {
        m_commands.clear();
        m_state = State::Command;
    }
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
}

void AtSession::write(const QByteArray &octets)
{
    const QByteArray all = std::exchange(m_echo, {}) + octets;
    if (!m_hung && !all.isEmpty())
        emit send(all);
}

QByteArray AtSession::finalText(const Reply &reply) const
{
    switch (reply.final) {
    case Reply::Final::Ok:
        return informationText({"OK"});
    case Reply::Final::CmeError:
        if (m_format.errorNumbers != 0)
            return informationText({"+CME ERROR: " + QByteArray::number(reply.code)});
        [[fallthrough]];
    case Reply::Final::Error:
        return informationText({"ERROR"});
    case Reply::Final::CmsError:
        return informationText({"+CMS ERROR: " + QByteArray::number(reply.code)});
    case Reply::Final::Nothing:
    case Reply::Final::Restart:
    case Reply::Final::Unplug:
        return {};
    }
    Q_UNREACHABLE();
}
} // namespace simulator
