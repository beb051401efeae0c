#pragma once

#include "modem/StoredTpdu.h"
#include "modem/tpdu/SmsAddress.h"

#include <QDateTime>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

/// A message that is ready for its handler.
struct InboxMessage {
    SmsAddress sender;
    QString text;
    QDateTime time;  ///< local time
    QString problem; ///< not "" when the TPDU cannot be decoded; then the three above mean nothing
    QList<StoredTpdu> copies;
    QStringList fragments = {}; ///< the texts of the parts that came, when it is not complete
    QSet<int> sequences = {};   ///< of the parts, of a concatenated one
    QString setKey = {};        ///< "" for a single SMS
    bool isLeftOver =
        false; ///< it lay in the store when the port was opened: an earlier run may have handled it
};
