#pragma once

#include "alerts/MailKind.h"

#include <QString>

/// The text of one alert: who sent which mail, at most 70 UTF-16 units, a surrogate pair never cut.
/// senderLabel, subject: may be null, which adds nothing.
[[nodiscard]] QString alertText(MailKind kind, const QString &senderLabel, const QString &subject);
