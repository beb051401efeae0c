#include "tests/simulation/MemoryLine.h"

#include "modem/line/SerialLine.h"
#include "tests/simulation/Digest.h"
#include "tests/simulation/Kill.h"
#include "tests/simulation/VirtualTime.h"

#include <QHash>
#include <QTimer>
#include <optional>

using namespace std::chrono_literals;

namespace
{

class ServerEnd;

int hastyCommands = 0;

/// The modem's end. What it is told comes from the world.
class ModemEnd final : public simulator::LineEnd
{
public:
    explicit ModemEnd(QString name) : m_name(std::move(name)) {}
    ~ModemEnd() override { ModemEnd::unplug(); }

    void plug() override { plugged.insert(m_name, this); }
    void unplug() override;
    [[nodiscard]] bool isPlugged() const override { return plugged.value(m_name) == this; }
    [[nodiscard]] qsizetype write(const QByteArray &octets) override;
    [[nodiscard]] bool isPeerAt(int speed) const override;
    [[nodiscard]] QString name() const override { return m_name; }

    [[nodiscard]] bool isTaken() const { return m_server != nullptr; }
    void setServer(ServerEnd *server)
    {
        const VirtualTime::As as(VirtualTime::world);
        m_server = server;
        emit peersChanged(server != nullptr);
    }
    void receive(const QByteArray &octets)
    {
        const VirtualTime::As as(VirtualTime::world);
        emit received(octets);
    }

    static inline QHash<QString, ModemEnd *> plugged; // by name

private:
    QString m_name;
    ServerEnd *m_server = nullptr;
};

/// The modem control's end.
class ServerEnd final : public SerialLine
{
public:
    ServerEnd()
    {
        m_tell.setSingleShot(true);
        m_tell.callOnTimeout([this] {
            if (std::exchange(m_isLossUntold, false))
                emit lost();
            else if (!m_arrived.isEmpty())
                emit octetsArrived();
        });
    }
    ~ServerEnd() override { ServerEnd::close(); }

    OpenResult open(const QString &device, int baud) override
    {
        close();
        ModemEnd *modem = ModemEnd::plugged.value(device);
        if (Kill::isDead() || modem == nullptr)
            return OpenResult::NoSuchDevice;
        if (modem->isTaken())
            return OpenResult::Busy;
        m_owner = VirtualTime::instance().domain();
        m_baud = baud;
        m_unanswered.reset();
        m_modem = modem;
        m_modem->setServer(this);
        return OpenResult::Opened;
    }
    void setBaud(int baud) override { m_baud = baud; }
    void close() override
    {
        m_arrived.clear();
        m_isLossUntold = false;
        if (ModemEnd *modem = std::exchange(m_modem, nullptr))
            modem->setServer(nullptr);
    }
    [[nodiscard]] bool isOpen() const override { return m_modem != nullptr; }
    [[nodiscard]] QString errorText() const override { return isOpen() ? QString() : QStringLiteral("gone"); }

    Wait write(QByteArrayView octets, const QDeadlineTimer &) override
    {
        if (!isOpen() || !Kill::crosses())
            return loss();
        trace(TraceDirection::Sent, octets);
        Digest::add(">", octets);
        // To come into step again a plain AT is written, and an escape.
        hastyCommands += isUnanswered() && octets.startsWith("AT+") ? 1 : 0;
        m_unanswered = QByteArray();
        m_modem->receive(octets.toByteArray());
        return Wait::Ready;
    }

    Wait waitForOctets(const QDeadlineTimer &deadline) override
    {
        constexpr std::chrono::nanoseconds slice = 250ms;
        VirtualTime &time = VirtualTime::instance();
        const auto isOver = [this] { return !m_arrived.isEmpty() || !isOpen() || Kill::isDead(); };
        while (!time.block(
            time.now() + qMin(slice, std::chrono::nanoseconds(deadline.remainingTimeAsDuration())), isOver)) {
            if (deadline.hasExpired())
                return Wait::TimedOut;
            whileWaiting();
        }
        return m_arrived.isEmpty() || Kill::isDead() ? loss() : Wait::Ready;
    }

    QByteArray readAll() override
    {
        if (m_arrived.isEmpty() || Kill::isDead())
            return {};
        trace(TraceDirection::Received, m_arrived);
        Digest::add("<", m_arrived);
        return std::exchange(m_arrived, {});
    }

    [[nodiscard]] int baud() const { return m_baud; }
    void arrive(const QByteArray &octets)
    {
        m_arrived += octets;
        if (m_unanswered)
            *m_unanswered += octets;
        tellSoon();
    }
    void hangUp()
    {
        m_modem = nullptr;
        m_isLossUntold = true;
        tellSoon();
    }

private:
    [[nodiscard]] bool isUnanswered() const
    {
        return m_unanswered && !m_unanswered->contains("OK\r") && !m_unanswered->contains("ERROR") &&
               !m_unanswered->contains("> ");
    }
    Wait loss()
    {
        close();
        return Wait::Lost;
    }

    void tellSoon()
    {
        const VirtualTime::As as(m_owner);
        m_tell.start(0ms);
    }

    ModemEnd *m_modem = nullptr;
    VirtualTime::Domain m_owner = VirtualTime::world;
    int m_baud = 0;
    QByteArray m_arrived;
    std::optional<QByteArray> m_unanswered; // what came since the last writing
    bool m_isLossUntold = false;
    QTimer m_tell; // from the owner's event loop
};

void ModemEnd::unplug()
{
    if (isPlugged())
        plugged.remove(m_name);
    if (ServerEnd *server = std::exchange(m_server, nullptr))
        server->hangUp();
}

qsizetype ModemEnd::write(const QByteArray &octets)
{
    if (m_server != nullptr)
        m_server->arrive(octets);
    return octets.size();
}

bool ModemEnd::isPeerAt(int speed) const
{
    return m_server != nullptr && m_server->baud() == speed;
}

} // namespace

std::unique_ptr<SerialLine> makeSerialLine()
{
    return std::make_unique<ServerEnd>();
}

std::unique_ptr<simulator::LineEnd> makeModemEnd(const QString &name)
{
    return std::make_unique<ModemEnd>(name);
}

int takeHastyCommands()
{
    return std::exchange(hastyCommands, 0);
}
