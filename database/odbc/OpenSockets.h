#pragma once

#include <set>
#include <vector>

/// The sockets that this process holds open. A driver manager does not tell the socket of a connection, but
/// what is new after the connection was opened is it.
class OpenSockets
{
public:
    [[nodiscard]] static OpenSockets now();
    /// Those of these that were not there before.
    [[nodiscard]] std::vector<int> since(const OpenSockets &before) const;

private:
    std::set<int> m_descriptors;
};
