#pragma once

#include "simulator/ControlWords.h"
#include "simulator/Modem.h"

#include <functional>

namespace simulator
{
/// What a person or a test can ask of the running simulator, one line a command.
class ControlCommands
{
public:
    /// quit is called by the command of that name.
    ControlCommands(Modem &modem, std::function<void()> quit);

    /// The answer to one line: "ok", perhaps with a text, or "error" with the reason. Listings (help, storage
    /// list) come as lines that start with two blanks, before the line that starts with "ok".
    QString run(const QString &line);

private:
    using Handler = std::function<QString(ControlWords &words)>;
    struct Command {
        QString name;
        QString usage;
        QString help;
        Handler run;
    };

    void add(const QString &name, const QString &usage, const QString &help, Handler run);
    void addLineCommands();
    void addSendCommands();
    void addDeliverCommands();
    void addStateCommands();
    void addStorageCommands();
    QString help() const;
    QString status();
    QString deliver(ControlWords &words, std::optional<QString> order, std::optional<int> messageClass);
    QString listStorage();

    Modem &m_modem;
    std::function<void()> m_quit;
    QList<Command> m_commands;
    int m_reference = 0;
};
} // namespace simulator
