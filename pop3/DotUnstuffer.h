#pragma once

#include <QByteArray>

/// Takes the octets of a multi-line answer as they arrive, in pieces of any size, and gives its content: dots
/// that were put in front removed, the end found (RFC 1939, 3). Line ends are kept as they are. Only CR LF
/// starts a line, so that a bare LF inside a message cannot fake its end; a server that ends its status lines
/// with a bare LF ends all its lines so.
class DotUnstuffer
{
public:
    explicit DotUnstuffer(bool bareLineFeeds) : m_bareLineFeeds(bareLineFeeds) {}

    /// Appends the content of octets to content; returns how many octets belonged to this answer.
    qsizetype consume(QByteArrayView octets, QByteArray &content);
    /// True once the final "." line was consumed.
    [[nodiscard]] bool finished() const { return m_state == State::Finished; }

private:
    enum class State { LineStart, InLine, AfterDot, AfterDotCr, Finished };
    State m_state = State::LineStart;
    bool m_bareLineFeeds;
    bool m_afterCr = false; // the last octet of the line so far was CR
};
