#include "fuzz/Require.h"
#include "modem/ModemControl.h"

#include <QCoreApplication>
#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

namespace
{

/// The far end of a serial line, served by a thread of its own, so that the blocking calls have somebody to talk to.
/// Says the next piece of the input whenever it hears something; well-behaved where the input has nothing to say.
class Script
{
public:
    explicit Script(const QByteArray &input) : m_answers(input.split('\xff'))
    {
        m_master = posix_openpt(O_RDWR | O_NOCTTY);
        require(m_master >= 0 && grantpt(m_master) == 0 && unlockpt(m_master) == 0 &&
                pipe(m_wake.data()) == 0);
        // Held open: the master reads an error while nobody has the other end.
        m_slave = ::open(ptsname(m_master), O_RDWR | O_NOCTTY);
        termios raw{};
        tcgetattr(m_slave, &raw);
        cfmakeraw(&raw);
        tcsetattr(m_slave, TCSANOW, &raw);
        m_thread = std::thread([this] { serve(); });
    }
    ~Script()
    {
        require(::write(m_wake[1], "s", 1) == 1);
        m_thread.join();
        for (const int descriptor : {m_master, m_slave, m_wake[0], m_wake[1]})
            ::close(descriptor);
    }
    Script(const Script &) = delete;
    Script &operator=(const Script &) = delete;

    [[nodiscard]] QString device() const { return QString::fromLocal8Bit(ptsname(m_master)); }
    /// Without what a modem's noise puts between the letters.
    [[nodiscard]] QByteArray said()
    {
        const std::lock_guard lock(m_mutex);
        QByteArray letters = m_said;
        return letters.replace('\0', "").replace('\x1b', "").replace('\x1a', "");
    }

private:
    void serve()
    {
        std::array<char, 4096> buffer{};
        while (true) {
            std::array<pollfd, 2> files{{{m_master, POLLIN, 0}, {m_wake[0], POLLIN, 0}}};
            if (::poll(files.data(), files.size(), -1) < 0 || files[1].revents != 0)
                return;
            const ssize_t count = ::read(m_master, buffer.data(), buffer.size());
            if (count <= 0)
                return;
            answer(QByteArray(buffer.data(), count));
        }
    }
    void answer(const QByteArray &octets)
    {
        const std::lock_guard lock(m_mutex);
        const QByteArray piece = m_answers.isEmpty() ? QByteArray() : m_answers.takeFirst();
        QByteArray answer = piece;
        if (piece.isEmpty())
            answer = octets.contains("+CMGS=") ? "\r\n> "
                     : octets.endsWith('\x1a') ? "\r\n+CMGS: 1\r\n\r\nOK\r\n"
                                               : "\r\nOK\r\n";
        m_said += answer;
        require(::write(m_master, answer.constData(), static_cast<size_t>(answer.size())) == answer.size());
    }

    QByteArrayList m_answers;
    QByteArray m_said;
    std::mutex m_mutex;
    int m_master = -1;
    int m_slave = -1;
    std::array<int, 2> m_wake{-1, -1};
    std::thread m_thread;
};

/// Only silence is waited out, and the script is not silent for long.
ModemLimits tinyLimits()
{
    using namespace std::chrono_literals;
    ModemLimits limits;
    limits.syncAttempt = limits.command = limits.prompt = limits.sendResult = 4ms;
    limits.sync = limits.resync = limits.reopenSync = 12ms;
    limits.quiet = limits.straggler = limits.lateReference = limits.simRetry = limits.waitRetry = 1ms;
    limits.simBusy = 5ms;
    return limits;
}

} // namespace

/// Bring-up, a send and readings of the store against whatever a modem may say. The input is its answers, parted by
/// the octet 0xFF. A message is sent only when the modem gave a reference.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    constexpr size_t most = 4000; // what a pseudo-terminal takes without a reader
    if (size > most)
        return 0;
    static int argc = 1;
    static char name[] = "DialogueFuzzer";
    static char *argv[] = {name, nullptr};
    static const QCoreApplication application(argc, argv);

    Script modem(octetsOf(data, size).toByteArray());
    const SystemClock clock;
    ModemControl control(
        clock, [&](int) { return modem.device(); }, nullptr, tinyLimits());
    control.setPortNumber(1);
    control.setSpeed(115200);
    QObject::connect(&control, &ModemControl::messageArrived, [&control] {
        QString sender;
        QString text;
        QString time;
        require(control.read(sender, text, time) != 0 || time.isEmpty() || time.size() == 19);
        control.settle(MessageFate::Handled);
    });
    if (control.open() == 0) {
        try {
            const bool isSent = control.send(QStringLiteral("13800138000"), QStringLiteral("x")) == 0;
            require(!isSent || modem.said().toUpper().contains("+CMGS:"));
        } catch (const ModemFault &) {
        }
        for (int i = 0; i < 5; ++i)
            QCoreApplication::processEvents();
    }
    return 0;
}
