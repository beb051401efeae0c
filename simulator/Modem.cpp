#include "simulator/Modem.h"

#include "simulator/GeneralCommands.h"
#include "simulator/MessageCommands.h"
#include "simulator/StorageCommands.h"
#include "simulator/TpduEncoder.h"

using namespace Qt::StringLiterals;

namespace simulator
{
Modem::Modem(const QString &link, const QString &logFile, int storageCapacity, int firstIndex)
    : m_state(storageCapacity, firstIndex),
      m_log(logFile),
      m_submits(m_state, m_log),
      m_deliveries(m_state),
      m_session(m_state.settings.format, [this](const AtCommand &command) { return run(command); }),
      m_line(link)
{
    addGeneralCommands(m_commands, m_state, [this] { m_deliveries.retrySoon(); });
    addMessageCommands(m_commands, m_state, m_submits, m_deliveries);
    addStorageCommands(m_commands, m_state, m_deliveries);

    connect(&m_line, &SerialLine::received, &m_session, &AtSession::feed);
    connect(&m_session, &AtSession::send, &m_line, &SerialLine::write);
    connect(&m_deliveries, &DeliverService::unsolicited, &m_session, &AtSession::sendUnsolicited);
    connect(&m_line, &SerialLine::plugged, this, [this] {
        m_state.say(u"plugged in: %1 -> %2"_s.arg(m_line.link(), m_line.devicePath()));
        start();
    });
    connect(&m_line, &SerialLine::unplugged, this, [this] {
        m_state.say(u"unplugged"_s);
        m_session.restart(std::chrono::milliseconds(0));
        m_deliveries.setPlugged(false);
    });
    connect(&m_line, &SerialLine::peerChanged, this, [this](bool open) {
        m_state.say(open ? u"a program opened the port"_s : u"the port was closed"_s);
    });
    connect(&m_submits, &SubmitService::reportWanted, this, [this](const QString &number, int reference) {
        const QByteArray report =
            encodeStatusReport(number, reference, 0, QDateTime::currentDateTime(), m_state.serviceCentre);
        QTimer::singleShot(m_state.networkLatency, this, [this, report] { m_deliveries.deliver({report}); });
    });
}

/// Power comes back: volatile settings are as at first, the stores and the network's messages stay.
void Modem::start()
{
    restoreSettings(m_state);
    m_state.selected = {Memory::Sim, Memory::Sim, Memory::Sim};
    m_state.functionality = 1;
    m_state.sim.pinRequired = m_lockedAtStart;
    m_session.restart(m_wakeTime);
    m_deliveries.restart();
    m_deliveries.setPlugged(true);
}

Reply Modem::run(const AtCommand &command)
{
    Reply reply = m_commands.run(command);
    const auto latency = m_state.commandLatency.constFind(command.name);
    if (latency != m_state.commandLatency.cend())
        reply.delay += *latency;
    else
        reply.delay += m_state.commandLatency.value("*", std::chrono::milliseconds(0));
    return reply;
}

void Modem::setRegistration(int status)
{
    m_state.registration = status;
    constexpr std::array<const char *, 3> prefixes{"+CREG: ", "+CGREG: ", "+CEREG: "};
    for (size_t i = 0; i < prefixes.size(); ++i) {
        if (m_state.settings.registrationReports.at(i) > 0)
            m_session.sendUnsolicited({prefixes.at(i) + QByteArray::number(status)});
    }
    m_deliveries.retrySoon();
}

void Modem::setLocked(bool locked, const QByteArray &pin)
{
    m_lockedAtStart = locked;
    m_state.sim.pinRequired = locked;
    m_state.sim.pinAttempts = 3;
    if (!pin.isEmpty())
        m_state.sim.pin = pin;
    m_deliveries.retrySoon();
}
} // namespace simulator
