#pragma once

#include "simulator/network/Network.h"

namespace simulator
{
/// The commands that the modem knows, by name. It keeps a reference to the network, whose modem they are of.
class CommandTable
{
public:
    explicit CommandTable(Network &network);

    /// The handler's reply; ERROR for a command that is not in the table.
    [[nodiscard]] Reply run(const AtCommand &command) const;

private:
    using Handler = Reply (*)(Network &network, const AtCommand &command);

    /// What is no message command: dialogue format (ITU-T V.250), identity, SIM, network (3GPP TS 27.007).
    void addGeneral();
    /// Those that send messages and set how they are handled (3GPP TS 27.005).
    void addMessage();
    /// Those that select, list, read and empty message memories (3GPP TS 27.005, 3.2.2, 3.4 and 3.5).
    void addStorage();
    void add(const QByteArray &name, Handler handler);
    /// A command that is refused while the SIM is locked or busy.
    void addWithSim(const QByteArray &name, Handler handler);
    /// A command that shows a number and sets it, 0 or 1.
    void addSwitch(const QByteArray &name, int &value);

    Network &m_network;
    QHash<QByteArray, std::function<Reply(const AtCommand &)>> m_handlers;
};
} // namespace simulator
