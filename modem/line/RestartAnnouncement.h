#pragma once

#include <QByteArrayView>

/// True when an unsolicited line is what a modem says when it starts; its settings are then lost, PDU mode
/// among them. The list grows with every modem met; letter case does not count.
[[nodiscard]] bool announcesStart(QByteArrayView line);
/// Also what is said a while after a start, or without one, when a SIM card was exchanged.
[[nodiscard]] bool announcesRestart(QByteArrayView line);
