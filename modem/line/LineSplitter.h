#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <optional>

/// Cuts what a modem says into lines and prompts, whatever the chunks. Tolerated: lines ended by CR LF, LF or
/// CR alone, blank lines, NUL and control octets between lines, "> " with or without a line end behind it.
class LineSplitter
{
public:
    void feed(QByteArrayView octets);
    /// The next line that is not blank, without blanks at its ends and without prompt marks in front; nullopt
    /// when none is complete. A line beyond ModemBounds::lineOctets is dropped whole.
    [[nodiscard]] std::optional<QByteArray> takeLine();
    /// True when a prompt (3GPP TS 27.005, 3.5.1: "> ") is next in what arrived; it is then taken away.
    [[nodiscard]] bool takePrompt();
    /// A CR came without the LF that this modem puts behind it: the rest is on its way.
    [[nodiscard]] bool wantsLineFeed() const
    {
        return m_usesLineFeeds && m_endedByReturn && m_buffer.isEmpty();
    }
    void clear();

private:
    QByteArray m_buffer;
    bool m_dropping = false;
    bool m_usesLineFeeds = false;
    bool m_endedByReturn = false;
};
