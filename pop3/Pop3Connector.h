#pragma once

#include "pop3/Pop3Attempt.h"
#include "pop3/Pop3Dialogue.h"
#include "pop3/Pop3LoginWays.h"

/// Connects to a POP3 server, secures the line, and logs in. curl does all three; only USER and PASS as the
/// last resort are spoken here, since curl 7.88 sends them only to servers that list USER among their
/// capabilities.
///
/// One login, since refused ones in a row lock an address out: by the way that worked before, else the one that
/// curl prefers, of those that were not refused before. Another way follows, on a line of its own, only when the
/// server does not know the way at all.
class Pop3Connector
{
public:
    /// The references must outlive the connector.
    Pop3Connector(Pop3Account account, Pop3LoginWays ways, const Pop3Options &options, Pop3Observer &observer,
                  Pop3Waiter &waiter);

    /// dialogue() is there when connected.
    [[nodiscard]] Pop3ConnectResult connect();
    [[nodiscard]] std::unique_ptr<Pop3Dialogue> &dialogue() { return m_dialogue; }

private:
    void start(const Pop3Attempt::Way &way);
    void ended(const Pop3ConnectResult &result);
    [[nodiscard]] std::optional<Pop3Attempt::Way> wayAfter(const Pop3Attempt::Way &way);
    [[nodiscard]] QByteArrayList waysLeft() const;
    void logInByUserPass();

    const Pop3Account m_account;
    const Pop3LoginWays m_ways;
    const Pop3Options &m_options;
    Pop3Observer &m_observer;
    Pop3Waiter &m_waiter;

    std::optional<Pop3Attempt> m_attempt; // the last one
    std::optional<Pop3Attempt::Way> m_next;
    QByteArrayList m_tried;
    Pop3ConnectResult m_result;
    std::unique_ptr<Pop3Dialogue> m_dialogue;
};
