#pragma once

#include "simulator/dialogue/AtCommandLine.h"
#include "simulator/dialogue/Reply.h"

#include <QObject>
#include <memory>

namespace simulator
{
/// How results are written (ITU-T V.250, 6.2; 3GPP TS 27.007, 9.1); commands change it.
struct ResultFormat {
    int echo = 1;
    int errorNumbers = 0; ///< +CMEE: 0 plain ERROR for +CME, 1 numbers
};

/// The dialogue on the line: octets to command lines, commands to replies, replies to octets.
///
/// Commands of a line run one after the other; the first error ends the line. Input that arrives while a
/// command runs waits until its answer, unless the reply says otherwise.
class AtSession : public QObject
{
    Q_OBJECT

public:
    /// run answers one command; it may change format.
    AtSession(ResultFormat &format, std::function<Reply(const AtCommand &)> run);

    /// Octets from the line.
    void feed(const QByteArray &octets);

    /// Unsolicited lines, written at once.
    void sendUnsolicited(const QByteArrayList &lines);
    /// Octets as they are.
    void write(const QByteArray &octets);

    /// From now on nothing is read or written.
    void hang() { m_hung = true; }
    /// Forgets the line in hand and every answer that is due.
    void restart();
    /// How the prompt for a body looks; modems differ.
    void setPrompt(const QByteArray &prompt) { m_prompt = prompt; }

signals:
    /// Octets for the line.
    void send(const QByteArray &octets);

private:
    enum class State { Command, Running, Body };

    void process();
    void take(char c);
    void runLine();
    void answer(const Reply &reply);
    void finish(const Reply &reply, bool endsLine);
    [[nodiscard]] QByteArray finalText(const Reply &reply) const;

    ResultFormat &m_format;
    std::function<Reply(const AtCommand &)> m_run;
    State m_state = State::Command;
    bool m_processing = false;
    QByteArray m_input;
    QByteArray m_line; ///< or body
    QByteArray m_echo;
    QList<AtCommand> m_commands; ///< of the line that runs, still to come
    std::function<Reply(const QByteArray &)> m_takeBody;
    bool m_interruptible = false;
    int m_waitNumber = 0; ///< tells a late result whether the line still waits for it
    bool m_hung = false;
    QByteArray m_prompt = "\r\n> ";
    std::unique_ptr<QObject> m_dueAnswers; ///< owner of the timers of late answers
};
} // namespace simulator
