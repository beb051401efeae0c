#pragma once

#include <QByteArrayView>
#include <functional>

enum class TraceDirection { Sent, Received };

/// Called with every chunk of octets on the serial line, as it is written or read. Must not call the modem.
using ModemTrace = std::function<void(TraceDirection direction, QByteArrayView octets)>;
