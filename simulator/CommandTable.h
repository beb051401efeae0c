#pragma once

#include "simulator/AtCommandLine.h"
#include "simulator/Reply.h"

#include <QMap>

namespace simulator
{
/// The commands that the modem knows, by name.
class CommandTable
{
public:
    using Handler = std::function<Reply(const AtCommand &)>;

    void add(const QByteArray &name, Handler handler) { m_handlers.insert(name, std::move(handler)); }

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
} // namespace simulator
