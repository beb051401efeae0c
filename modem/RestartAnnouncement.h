#pragma once

#include <QByteArrayView>

/// What a modem says when it starts; its settings are then lost, PDU mode among them.
enum class RestartAnnouncement {
    None,
    Started, ///< it has just started: nothing of what it was doing goes on
    Ready,   ///< it started a while ago and a part of it is ready only now
};

/// The announcement that an unsolicited line is. The list grows with every modem met; letter case does not count.
[[nodiscard]] RestartAnnouncement restartAnnouncement(QByteArrayView line);
