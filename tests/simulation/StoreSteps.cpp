#include "tests/simulation/StoreSteps.h"

#include "modem/ModemControl.h"
#include "simulator/Modem.h"
#include "simulator/controls/ControlCommands.h"
#include "tests/simulation/Digest.h"
#include "tests/simulation/Kill.h"
#include "tests/simulation/MemoryLine.h"
#include "tests/simulation/VirtualTime.h"

#include <QSet>
#include <cstdio>
#include <random>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace
{

class Store
{
public:
    Store(int steps, quint64 seed) : m_chance(seed), m_stepsLeft(steps)
    {
        simulator::addControls(m_controls, m_modem);
        for (const auto *control : {"storage-size 20", "latency 100", "baud 115200"})
            command(QString::fromLatin1(control));
        command(seed % 2 == 0 ? u"moves-up on"_s : u"moves-up off"_s);
        m_modem.line().plug();
    }

    QString live()
    {
        {
            const VirtualTime::As as(1);
            m_control.setTrace([this](TraceDirection direction, QByteArrayView octets) {
                if (direction == TraceDirection::Sent)
                    hear(octets.toByteArray().trimmed());
            });
            QObject::connect(&m_control, &ModemControl::messageArrived, [this] { handle(); });
            m_control.setPortNumber(1);
            if (m_control.open() != 0)
                return u"the modem does not open"_s;
        }
        while (m_stepsLeft > 0) {
            pass(std::chrono::milliseconds(m_chance() % 20'000));
            step();
        }
        for (int exchange = 0; exchange < 2; ++exchange) {
            pass(3h);
            command(u"sim exchanged"_s);
        }
        pass(3h);
        const VirtualTime::As as(1);
        static_cast<void>(m_control.close());
        std::printf("%d delivered, %d handled, %d of them again, %d removed by others, gap at most %lld ms\n",
                    m_delivered, int(m_handled.size()), m_again, int(m_removed.size()),
                    static_cast<long long>(m_gap / 1ms));
        for (int i = 1; i <= m_delivered; ++i) {
            if (!m_handled.contains(u"m%1"_s.arg(i)) && !m_removed.contains(u"m%1"_s.arg(i)))
                m_lost += u"m%1 never came"_s.arg(i);
        }
        return m_lost.join(u", "_s);
    }

private:
    void command(const QString &words)
    {
        const VirtualTime::As as(VirtualTime::world);
        const QString answer = m_controls.run(words);
        if (!answer.startsWith(u"ok"))
            qFatal("%s: %s", qUtf8Printable(words), qUtf8Printable(answer));
    }
    static void pass(std::chrono::nanoseconds length)
    {
        VirtualTime &time = VirtualTime::instance();
        static_cast<void>(time.runUntil(time.now() + length, [] { return false; }));
    }
    static QString textOf(const simulator::StoredMessage &message)
    {
        const auto tpdu = simulator::decodeTpdu(message.pdu, simulator::Direction::ToModem);
        return std::get<simulator::Tpdu>(tpdu).text;
    }

    /// The control writes a line, and its command runs after this.
    void hear(const QByteArray &line)
    {
        const QByteArray before = std::exchange(m_heard, line);
        const auto now = VirtualTime::instance().now();
        const auto since = now - std::exchange(m_heardAt, now);
        if (!line.startsWith("AT+CMGD=")) {
            if (m_chance() % 3 == 0)
                step();
            return;
        }
        const int index = line.sliced(8).toInt();
        if (before == "AT+CMGR=" + line.sliced(8))
            m_gap = qMax(m_gap, since);
        else
            m_lost += u"place %1 was not read before its removal"_s.arg(index);
        simulator::ModemState &state = m_modem.state();
        const auto place = state.place(state.selected[0], index);
        if (const auto *message = place.store->find(place.index);
            message != nullptr && !m_handled.contains(textOf(*message)))
            m_lost += textOf(*message) + u" was removed unread"_s;
    }

    void step()
    {
        if (m_stepsLeft <= 0)
            return;
        --m_stepsLeft;
        simulator::MessageStore &sim = m_modem.state().store(simulator::Memory::Sim);
        const int place = 1 + int(m_chance() % 20);
        simulator::StoredMessage *message = sim.find(place);
        switch (m_chance() % 12) {
        case 0:
            if (message != nullptr) {
                m_removed += textOf(*message);
                command(u"others remove %1"_s.arg(place));
            }
            break;
        case 1:
            if (message != nullptr)
                message->status = simulator::MessageStatus::ReceivedRead;
            break;
        case 2:
            if (m_chance() % 4 == 0)
                command(m_chance() % 2 == 0 ? u"sim exchanged"_s : u"sim exchanged silent"_s);
            break;
        case 3:
            command(u"edit 1 %1 garble %2"_s.arg(m_chance() % 2 == 0 ? u"+CMGL"_s : u"+CMGR"_s)
                        .arg(1 + m_chance() % 4));
            break;
        case 4:
            command(u"urc +CMTI: \"SM\",%1"_s.arg(place));
            break;
        default:
            command(u"deliver +8613800138000 m%1"_s.arg(++m_delivered));
        }
    }

    void handle()
    {
        QString sender;
        QString text;
        QString time;
        if (m_control.read(sender, text, time) != 0)
            return;
        const auto chance = m_chance() % 20;
        m_control.settle(chance == 0  ? MessageFate::Wait
                         : chance < 3 ? MessageFate::Refused
                                      : MessageFate::Handled);
        if (chance < 3)
            return;
        m_again += m_handled.contains(text) ? 1 : 0;
        m_handled.insert(text);
    }

    std::mt19937_64 m_chance;
    int m_stepsLeft;
    simulator::Modem m_modem{makeModemEnd(u"modem1"_s)};
    simulator::ControlTable m_controls;
    SystemClock m_clock;
    ModemControl m_control{m_clock, [](int) { return u"modem1"_s; }};
    QByteArray m_heard;
    std::chrono::nanoseconds m_heardAt{0};
    std::chrono::nanoseconds m_gap{0};
    int m_delivered = 0;
    int m_again = 0; ///< handled
    QSet<QString> m_handled;
    QSet<QString> m_removed;
    QStringList m_lost;
};

} // namespace

QString storeSteps(int steps, quint64 seed)
{
    VirtualTime::instance().restart(std::chrono::seconds(1'772'409'600));
    Digest::restart();
    Kill::begin(1);
    return Store(steps, seed).live();
}
