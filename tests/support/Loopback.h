#pragma once

class QTcpServer;

/// Listens on a free TCP port of 127.0.0.1. Result: the port.
int listenOnLoopback(QTcpServer &server);

/// A TCP port on 127.0.0.1 that nothing listens on at the moment.
[[nodiscard]] int freeLoopbackPort();
