#include "fuzz/Require.h"
#include "pop3/Pop3Client.h"

#include <arpa/inet.h>
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
    TalkingServer() : m_listener(socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto *generic = reinterpret_cast<sockaddr *>(&address);
        require(bind(m_listener, generic, length) == 0 && listen(m_listener, SOMAXCONN) == 0);
        require(getsockname(m_listener, generic, &length) == 0);
        m_port = ntohs(address.sin_port);
        std::thread([this] { serve(); }).detach(); // it lives as long as the program
    }

    [[nodiscard]] int port() const { return m_port; }
    void say(const QByteArray &answers)
    {
        const std::lock_guard lock(m_mutex);
        m_answers = answers;
    }

private:
    [[noreturn]] void serve()
    {
        for (;;) {
            const int peer = accept(m_listener, nullptr, nullptr);
            m_mutex.lock();
            const QByteArray answers = m_answers;
            m_mutex.unlock();
            QByteArrayView rest = answers;
            while (!rest.isEmpty()) {
                const ssize_t sent = send(peer, rest.data(), static_cast<size_t>(rest.size()), MSG_NOSIGNAL);
                if (sent <= 0)
                    break;
                rest = rest.sliced(sent);
            }
            shutdown(peer, SHUT_WR);
            char commands[4096];
            while (recv(peer, commands, sizeof commands, 0) > 0) {
            }
            ::close(peer);
        }
    }

    int m_listener;
    int m_port = 0;
    std::mutex m_mutex;
    QByteArray m_answers;
};

} // namespace

/// Everything that a server says after its greeting, in one piece.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static TalkingServer server;
    const QByteArray answers = "+OK ready\r\n" + octetsOf(data, size).toByteArray();
    server.say(answers);
    {
        Pop3Options options;
        using namespace std::chrono_literals;
        options.limits.connect = options.limits.login = options.limits.stall = options.limits.quit = 50ms;
        options.limits.doubtfulEnd = 1ms;
        options.limits.messages = 1000;
        Pop3Client client(options);
        try {
            if (client
                    .Connect(QStringLiteral("li"), QStringLiteral("secret"), QStringLiteral("127.0.0.1"),
                             server.port())
                    .connected()) {
                const int count = client.Count();
                require(count >= 0 && count <= options.limits.messages);
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
            }
        } catch (const Pop3Fault &) { // a line that broke
        }
    }
    return 0;
}
