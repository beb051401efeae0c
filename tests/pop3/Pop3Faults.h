#pragma once

#include "pop3/Pop3Client.h"
#include "tests/support/ScriptedPop3Server.h"

#include <numeric>
#include <optional>

// What the tests against servers that misbehave by script have in common.

using Script = ScriptedPop3Server::Script;
Q_DECLARE_METATYPE(Script)

inline const QString theLogin = QStringLiteral("user");
inline const QString thePassword = QStringLiteral("s3cret");

inline Pop3ConnectResult connectTo(Pop3Client &client, const ScriptedPop3Server &server)
{
    return client.Connect(theLogin, thePassword, QStringLiteral("127.0.0.1"), server.port());
}

inline QList<int> upTo(int count)
{
    QList<int> numbers(count);
    std::iota(numbers.begin(), numbers.end(), 1);
    return numbers;
}

inline Script scriptWith(int messages, bool pipelining)
{
    Script script;
    if (pipelining)
        script.capabilities << "PIPELINING";
    for (int i = 1; i <= messages; ++i)
        script.messages << "Subject: " + QByteArray::number(i) + "\r\n\r\n.dot\r\nbody " +
                               QByteArray::number(i) + "\r\n";
    return script;
}

/// Everything a download does; which messages arrived, and what ended it.
struct Download {
    Pop3ConnectResult connected;
    QList<QByteArray> messages;
    std::optional<Pop3Fault::Kind> fault;
    bool ended = false;
};

inline Download download(const ScriptedPop3Server &server, const Pop3Options &options = {})
{
    Download result;
    Pop3Client client(options);
    result.connected = connectTo(client, server);
    if (!result.connected.connected())
        return result;
    try {
        client.retrieve(upTo(client.Count()), [&](int, const Pop3Client::Retrieved &message) {
            if (const auto *octets = std::get_if<QByteArray>(&message))
                result.messages << *octets;
        });
        static_cast<void>(client.DeleteMessages());
    } catch (const Pop3Fault &fault) {
        result.fault = fault.kind();
    }
    result.ended = client.Disconnect();
    return result;
}

inline Pop3Options hasty()
{
    Pop3Options options;
    options.limits.login = options.limits.stall = options.limits.quit = std::chrono::milliseconds(300);
    options.limits.connect = std::chrono::milliseconds(300);
    return options;
}
