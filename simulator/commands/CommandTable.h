#pragma once

#include "simulator/dialogue/AtCommandLine.h"
#include "simulator/dialogue/Reply.h"
#include "simulator/network/ModemState.h"

#include <QHash>

namespace simulator
{
/// The commands that the modem knows, by name.
class CommandTable
{
public:
    using Handler = std::function<Reply(const AtCommand &)>;

    void add(const QByteArray &name, const Handler &handler) { m_handlers.insert(name, handler); }
    /// A command that is refused while the SIM is locked or busy.
    void addWithSim(const QByteArray &name, ModemState &state, const Handler &handler);
    /// A command that shows a number and sets it, 0 to max.
    void addNumber(const QByteArray &name, int &value, int max);

    /// The handler's reply; ERROR for a command that is not in the table.
    [[nodiscard]] Reply run(const AtCommand &command) const;

private:
    QHash<QByteArray, Handler> m_handlers;
};
} // namespace simulator
