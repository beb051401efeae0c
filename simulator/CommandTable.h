#pragma once

#include "simulator/AtCommandLine.h"
#include "simulator/ModemState.h"
#include "simulator/Reply.h"

#include <QMap>

namespace simulator
{
/// The commands that the modem knows, by name.
class CommandTable
{
public:
    using Handler = std::function<Reply(const AtCommand &)>;

    void add(const QByteArray &name, const Handler &handler) { m_handlers.insert(name, handler); }

    /// The handler's reply; ERROR for a command that is not in the table.
    [[nodiscard]] Reply run(const AtCommand &command) const
    {
        const auto handler = m_handlers.constFind(command.name);
        return handler == m_handlers.cend() ? Reply::error() : (*handler)(command);
    }
    [[nodiscard]] QByteArrayList names() const { return m_handlers.keys(); }

private:
    QMap<QByteArray, Handler> m_handlers;
};

/// The whole number at that place of a parameter list; absent when there is none.
std::optional<int> numberAt(const QList<AtParameter> &parameters, qsizetype at);

/// A handler that is refused while the SIM is locked or busy; test forms are answered all the same.
CommandTable::Handler withSim(ModemState &state, const CommandTable::Handler &handler);
} // namespace simulator
