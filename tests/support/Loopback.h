#pragma once

#include <chrono>

/// Listens on a free TCP port of 127.0.0.1. fd: the listening socket. Result: the port.
[[nodiscard]] int listenOnLoopback(int &fd);

/// A TCP port on 127.0.0.1 that nothing listens on at the moment.
[[nodiscard]] int freeLoopbackPort();

/// Waits until something on that port accepts a connection and greets. False when nothing does in time.
[[nodiscard]] bool waitForGreeting(int port, std::chrono::milliseconds limit);
