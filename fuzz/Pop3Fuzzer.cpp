#include "fuzz/Require.h"
#include "tests/pop3/Pop3Session.h"

namespace
{

/// Only silence is waited out, and this server is never silent for long.
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
    // One for all: closed lines keep a port busy for a minute. Left at the end: what Qt needs for its sockets goes first.
    static ScriptedPop3Server &server = *new ScriptedPop3Server({});
    const Script script{.greeting = "+OK ready\r\n" + octetsOf(data, size).toByteArray(), .onlyGreets = true};
    server.become(script);
    const Pop3Session session(server, hasty());
    require(session.count >= 0 && session.count <= 1000);
    const qsizetype handed = session.messages.size() + session.refused.size();
    require(session.fault ? handed <= session.uids.size() : handed == session.uids.size());
    for (const QByteArray &message : session.messages)
        require(message.size() <= script.greeting.size() + 2);
    return 0;
}
