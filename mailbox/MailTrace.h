#pragma once

#include "pop3/Pop3Options.h"

/// Where the mail collection shows what it does, for it reports nothing else: the lines of the sessions, and
/// whatever was passed over with its cause. Neither ever holds a password. Both may be empty.
struct MailTrace {
    Pop3Trace lines;
    std::function<void(const QString &text)> passedOver;

    void note(const QString &text) const
    {
        if (passedOver)
            passedOver(text);
    }
};
