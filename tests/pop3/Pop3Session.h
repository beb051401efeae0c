#pragma once

#include "pop3/Pop3Client.h"
#include "tests/support/ScriptedPop3Server.h"

#include <optional>

using Script = ScriptedPop3Server::Script;

inline const QString theLogin = QStringLiteral("user");
inline const QString thePassword = QStringLiteral("s3cret");

inline Pop3ConnectResult connectTo(Pop3Client &client, const ScriptedPop3Server &server,
                                   const Pop3LoginWays &ways = {})
{
    return client.Connect(theLogin, thePassword, QStringLiteral("127.0.0.1"), server.port(), ways);
}

/// A whole session, in which the first ten messages are retrieved and deleted, and what was seen of it.
class Pop3Session
{
public:
    explicit Pop3Session(const ScriptedPop3Server &server, Pop3Options options = {},
                         const Pop3LoginWays &ways = {})
    {
        options.trace = [this](Pop3Direction, const QString &line) { trace += line; };
        Pop3Client client(options);
        connected = connectTo(client, server, ways);
        try {
            if (connected.connected())
                download(client);
        } catch (const Pop3Fault &broken) {
            fault = broken.kind();
        }
        isEnded = client.Disconnect();
    }

    Pop3ConnectResult connected;
    int count = 0;
    QStringList uids; // empty where there is none
    QByteArrayList messages;
    QList<int> refused;
    std::optional<Pop3Fault::Kind> fault;
    bool isEnded = false; // in order
    QStringList trace;

private:
    void download(Pop3Client &client)
    {
        count = client.Count();
        QList<int> numbers;
        for (int number = 1; number <= qMin(count, 10); ++number) {
            uids += client.GetMessageUID(number).value_or(QString());
            numbers += number;
        }
        client.retrieve(numbers, [&](int number, const Pop3Client::Retrieved &message) {
            if (const auto *octets = std::get_if<QByteArray>(&message))
                messages += *octets;
            else
                refused += number;
        });
        client.DeleteMessages(numbers);
    }
};
