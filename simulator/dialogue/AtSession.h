#pragma once

#include "simulator/dialogue/AtCommandLine.h"
#include "simulator/dialogue/Reply.h"

#include <QObject>
#include <QTimer>
#include <memory>

namespace simulator
{
/// How results are written (ITU-T V.250, 6.2; 3GPP TS 27.007, 9.1); commands change it.
struct ResultFormat {
    int echo = 1;
    int errorNumbers = 0; ///< +CMEE: 0 plain ERROR for +CME, 1 numbers
};

/// How the prompt for a body looks; modems differ.
enum class PromptStyle { Usual, Bare, Line };

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

    /// An unsolicited line, written at once.
    void sendUnsolicited(const QByteArrayList &lines);
    /// Octets as they are.
    void sendOctets(const QByteArray &octets) { write(octets); }
    /// An unsolicited line that comes between the next command line and its answer.
    void sendUnsolicitedInNextCommand(const QByteArray &line) { m_forNextCommand += line; }

    /// From now on nothing is read or written.
    void hang() { m_hung = true; }
    /// Forgets the line in hand and every answer that is due.
    void restart();
    void setPromptStyle(PromptStyle style) { m_promptStyle = style; }

signals:
    /// Octets for the line.
    void send(const QByteArray &octets);

private:
    enum class State { Command, Running, Body };

    void process();
    void takeCommandCharacter(char c);
    void takeBodyCharacter(char c);
    void runLine();
    void runNextCommand();
    void answer(const Reply &reply);
    void finish(const Reply &reply, bool endsLine);
    void beginBody(const Reply &reply);
    void prompt();
    void endBody(bool cancelled);
    void write(const QByteArray &octets);
    void flushEcho();
    [[nodiscard]] QByteArray finalText(const Reply &reply) const;

    ResultFormat &m_format;
    std::function<Reply(const AtCommand &)> m_run;
    State m_state = State::Command;
    bool m_processing = false;
    QByteArray m_input;
    QByteArray m_line;
    QByteArray m_echo;
    QList<AtCommand> m_commands; ///< of the line that runs, still to come
    Reply m_bodyReply;
    bool m_interruptible = false;
    int m_waitNumber = 0; ///< tells a late result whether the line still waits for it
    QTimer m_deaf;
    bool m_hung = false;
    QByteArrayList m_forNextCommand;
    PromptStyle m_promptStyle = PromptStyle::Usual;
    std::unique_ptr<QObject> m_dueAnswers; ///< owner of the timers of late answers
};
} // namespace simulator
