#pragma once

/// Listens on a free TCP port of 127.0.0.1. fd: the listening socket. Result: the port.
[[nodiscard]] int listenOnLoopback(int &fd);

/// A TCP port on 127.0.0.1 that nothing listens on at the moment.
[[nodiscard]] int freeLoopbackPort();
