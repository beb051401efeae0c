#pragma once

#include "pop3/Pop3Fault.h"
#include "pop3/Pop3Observer.h"
#include "pop3/Pop3Options.h"
#include "pop3/Pop3Waiter.h"

#include <QElapsedTimer>
#include <optional>

/// A status line (RFC 1939, 3).
struct Pop3Reply {
    bool ok = false;
    QByteArray text; ///< what follows the indicator
};

/// What is known of a content before it is read.
struct Pop3Expectation {
    qint64 toldOctets = 0;     ///< its size as the server told; 0 when it did not
    bool othersFollow = false; ///< further answers were asked for already
};

/// Commands and answers on a line that is connected already. Sending never waits on its own: what does not
/// fit goes out while answers are read, so pipelined commands cannot block both sides. Any trouble closes the
/// line without QUIT and throws Pop3Fault; it is over then.
class Pop3Dialogue
{
public:
    /// handle: opened in waiter, with CURLOPT_CONNECT_ONLY. The others must outlive the dialogue.
    Pop3Dialogue(CurlHandle handle, Pop3Waiter &waiter, const Pop3Options &options, Pop3Observer &observer);

    [[nodiscard]] bool isOpen() const { return m_handle != nullptr; }
    void close() noexcept;

    /// Goes out with the next readReply(), in one piece with the others that were sent before it. command: without line
    /// end; must hold no CR or LF.
    void send(const QByteArray &command);
    /// The next status line. Its time limits begin here and last over the content that readContent takes.
    Pop3Reply readReply();
    /// The multi-line content after an ok reply. Content beyond most octets is read but not kept: nullopt; beyond
    /// twice that the line is given up. OutOfStep when its end is in doubt and another answer may have been
    /// swallowed with it.
    std::optional<QByteArray> readContent(qint64 most, Pop3Expectation expected = {});
    /// For the answer to QUIT: a silence limit of its own, from now on.
    void limitSilence(std::chrono::milliseconds limit) { m_stall = limit; }

private:
    void flush();
    /// False when nothing has come yet.
    [[nodiscard]] bool receiveWhatIsThere();
    void receiveMore();
    void beginWindow();
    [[nodiscard]] bool somethingFollows(std::chrono::milliseconds limit);
    void waitForLine();
    void pollLine(std::chrono::milliseconds most);
    [[noreturn]] void fail(Pop3Fault::Kind kind, const QString &cause);

    CurlHandle m_handle;
    Pop3Waiter &m_waiter;
    const Pop3Options &m_options;
    Pop3Observer &m_observer;
    std::chrono::milliseconds m_stall;

    QByteArray m_sending; // must neither move nor change while curl asks for the same octets again
    qsizetype m_sentOctets = 0;
    QByteArray m_queued;

    QByteArray m_input;
    qsizetype m_inputAt = 0; // octets of m_input that were consumed
    bool m_bareLineFeeds = false;

    QElapsedTimer m_exchangeClock;
    QElapsedTimer m_silenceClock;
    QElapsedTimer m_windowClock; // since the first octet of the window
    qint64 m_windowOctets = 0;
};
