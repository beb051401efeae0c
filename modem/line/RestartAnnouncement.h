#pragma once

#include <QByteArrayView>

/// True when an unsolicited line is what a modem says when it starts; its settings are then lost, PDU mode
/// among them. The list grows with every modem met; letter case does not count.
[[nodiscard]] bool announcesRestart(QByteArrayView line);
