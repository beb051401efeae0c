#include "simulator/Modem.h"

#include <QTimer>

using namespace Qt::StringLiterals;

namespace simulator
{
Modem::Modem(std::unique_ptr<LineEnd> end)
    : m_network(m_state),
      m_commands(m_network),
      m_session(m_state.settings.format, [this](const AtCommand &command) { return run(command); }),
      m_line(std::move(end))
{
    connect(&m_line, &SerialLine::received, &m_session, &AtSession::feed);
    connect(&m_session, &AtSession::send, &m_line, &SerialLine::write);
    connect(&m_network, &Network::unsolicited, &m_session, &AtSession::sendUnsolicited);
    connect(&m_line, &SerialLine::plugged, this, [this] {
        m_state.say(u"plugged in: %1"_s.arg(m_line.name()));
        reset();
        announce();
    });
    connect(&m_line, &SerialLine::unplugged, this, [this] {
        m_state.say(u"unplugged"_s);
        m_session.restart();
        m_network.setPlugged(false);
    });
    connect(&m_line, &SerialLine::peerChanged, this, [this](bool open) {
        m_state.say(open ? u"a program opened the port"_s : u"the port was closed"_s);
        if (open)
            say(m_state.openTexts, this);
    });
}

void Modem::restart(bool announced)
{
    m_state.say(announced ? u"restarts"_s : u"restarts silently"_s);
    reset();
    if (announced)
        announce();
}

void Modem::announce()
{
    m_announcements = std::make_unique<QObject>();
    say(m_state.startTexts, m_announcements.get());
}

void Modem::say(QList<UnaskedText> &texts, QObject *context)
{
    for (UnaskedText &text : texts) {
        if (text.count == 0)
            continue;
        text.count -= text.count == AnswerScript::always ? 0 : 1;
        QTimer::singleShot(text.delay, context, [this, octets = text.octets] { m_session.write(octets); });
    }
}

/// Volatile settings are as at first, the stores and the network's messages stay.
void Modem::reset()
{
    m_state.settings = m_state.settingsAtStart;
    m_state.selected = {Memory::Sim, Memory::Sim, Memory::Sim};
    m_state.sim.starting.setRemainingTime(m_state.sim.startsFor);
    m_state.unsolicitedInNextCommand.clear();
    m_session.restart();
    m_network.setPlugged(true);
}

Reply Modem::run(const AtCommand &command)
{
    for (const QByteArray &line : std::exchange(m_state.unsolicitedInNextCommand, {}))
        m_session.sendUnsolicited({line});
    Reply reply = m_state.answers.run(command.name + command.tail, [&] { return m_commands.run(command); });
    reply.delay += m_state.commandLatency;
    if (reply.takeBody) {
        reply.takeBody = [this, usual = reply.takeBody](const QByteArray &body) {
            Reply result = m_state.answers.run(AnswerScript::body, [&] { return usual(body); });
            endIn(result);
            return result;
        };
    }
    endIn(reply);
    return reply;
}

/// Does what comes instead of an answer.
void Modem::endIn(const Reply &reply)
{
    if (reply.final == Reply::Final::Restart)
        QTimer::singleShot(0, this, [this] { restart(true); });
    else if (reply.final == Reply::Final::Unplug)
        QTimer::singleShot(0, &m_line, &SerialLine::unplug);
}

void Modem::beginOutage(std::chrono::milliseconds duration)
{
    ++m_state.outages;
    QTimer::singleShot(duration, this, [this] {
        --m_state.outages;
        m_network.retrySoon();
    });
}
} // namespace simulator
