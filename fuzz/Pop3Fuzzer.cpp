#include "fuzz/Require.h"
#include "pop3/Pop3Client.h"
#include "tests/support/Loopback.h"

#include <array>
#include <mutex>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace
{

/// A server on loopback that says the same to everybody, whatever he asks, and then hangs up.
class TalkingServer
{
public:
    TalkingServer() : m_port(listenOnLoopback(m_listener))
    {
        std::thread([this] { serve(); }).detach(); // it lives as long as the program
    }

    [[nodiscard]] int port() const { return m_port; }
    void say(const QByteArray &answers)
    {
        const std::lock_guard lock(m_mutex);
        m_answers = answers;
    }

private:
    [[nodiscard]] QByteArray answers()
    {
        const std::lock_guard lock(m_mutex);
        return m_answers;
    }
    [[noreturn]] void serve()
    {
        for (;;) {
            const int peer = accept(m_listener, nullptr, nullptr);
            const QByteArray octets = answers();
            send(peer, octets.constData(), static_cast<size_t>(octets.size()), MSG_NOSIGNAL);
            shutdown(peer, SHUT_WR);
            std::array<char, 4096> commands{};
            while (recv(peer, commands.data(), commands.size(), 0) > 0) {
            }
            ::close(peer);
        }
    }

    int m_listener = -1;
    int m_port;
    std::mutex m_mutex;
    QByteArray m_answers;
};

/// Tiny limits: only silence is waited out, and this server is never silent for long.
Pop3Options hasty()
{
    using namespace std::chrono_literals;
    Pop3Options options;
    options.limits.connect = options.limits.login = options.limits.stall = options.limits.quit = 50ms;
    options.limits.doubtfulEnd = 1ms;
    options.limits.messages = 1000;
    return options;
}

} // namespace

/// Everything that a server says after its greeting, in one piece.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static TalkingServer server;
    const QByteArray answers = "+OK ready\r\n" + octetsOf(data, size).toByteArray();
    server.say(answers);
    Pop3Client client(hasty());
    const auto text = [](const char *latin) { return QString::fromLatin1(latin); };
    if (!client.Connect(text("li"), text("secret"), text("127.0.0.1"), server.port()).connected())
        return 0;
    try {
        const int count = client.Count();
        require(count >= 0 && count <= 1000);
        QList<int> numbers;
        for (int number = 1; number <= qMin(count, 10); ++number) {
            if (const auto uid = client.GetMessageUID(number))
                require(!uid->isEmpty());
            numbers += number;
        }
        int handed = 0;
        client.retrieve(numbers, [&](int number, const Pop3Client::Retrieved &message) {
            require(number == ++handed);
            if (const auto *octets = std::get_if<QByteArray>(&message))
                require(octets->size() <= answers.size() + 2);
        });
        client.DeleteMessages(numbers);
        client.Disconnect();
    } catch (const Pop3Fault &) { // a line that broke
    }
    return 0;
}
