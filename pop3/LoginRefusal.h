#pragma once

#include "pop3/Pop3ConnectResult.h"

/// The result of a login that got this -ERR, by its response code (RFC 2449, 8; RFC 3206) or else by its words.
/// server: as shown to people; reply: the status line; words: the same as text.
[[nodiscard]] Pop3ConnectResult refusedLogin(const QString &server, const QByteArray &reply,
                                             const QString &words);

/// Only the way was refused, not who came by it: nobody counts that as a failed login.
[[nodiscard]] bool isUnknownWay(const QByteArray &reply, const QString &words);
