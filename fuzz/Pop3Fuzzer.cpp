#include "fuzz/Require.h"
#include "pop3/Pop3Client.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace
{

/// A server on loopback that says the same to everybody, whatever he asks, and then falls silent.
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
        require(bind(m_listener, generic, length) == 0 && listen(m_listener, 1) == 0);
        require(getsockname(m_listener, generic, &length) == 0);
        m_port = ntohs(address.sin_port);
    }

    [[nodiscard]] int port() const { return m_port; }

    void serveOnce(QByteArrayView answers) const
    {
        const int peer = accept(m_listener, nullptr, nullptr);
        while (!answers.isEmpty()) {
            const ssize_t sent =
                send(peer, answers.data(), static_cast<size_t>(answers.size()), MSG_NOSIGNAL);
            if (sent <= 0)
                break;
            answers = answers.sliced(sent);
        }
        shutdown(peer, SHUT_WR);
        char commands[4096];
        while (recv(peer, commands, sizeof commands, 0) > 0) {
        }
        ::close(peer);
    }

private:
    int m_listener;
    int m_port = 0;
};

} // namespace

/// Everything that a server says after its greeting, in one piece.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const TalkingServer server;
    const QByteArray answers = "+OK ready\r\n" + octetsOf(data, size).toByteArray();
    std::thread other([&] { server.serveOnce(answers); });
    {
        Pop3Options options;
        options.limits.login = options.limits.stall = options.limits.exchange =
            std::chrono::milliseconds(500);
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
    other.join();
    return 0;
}
