#pragma once

#include "database/driver/DatabaseFault.h"
#include "database/driver/DatabaseLimits.h"

using std::chrono_literals::operator""s;

/// For the goodbyes of a connection that is closed.
inline constexpr auto closingLimit = 2s;

/// How long a statement is waited for before its connection is shut down. The server ends a slow statement by
/// itself, with an error that leaves the connection alive; this strikes only when it does not. Large values
/// get the time that the slowest line worth having needs for them.
[[nodiscard]] inline std::chrono::milliseconds statementLimit(const DatabaseLimits &limits,
                                                              qint64 payloadOctets)
{
    constexpr auto serverAdvance = 2s;
    constexpr qint64 slowestLineOctetsPerSecond = qint64(128) * 1024;
    return limits.statement + serverAdvance +
           std::chrono::seconds(payloadOctets / slowestLineOctetsPerSecond);
}

/// Values larger than the server takes in one statement: it would cut the connection.
[[nodiscard]] inline DatabaseFault payloadFault(qint64 limitOctets)
{
    return {DatabaseFault::Kind::Refused,
            QStringLiteral("要写入的内容超过数据库服务器允许的 %1 字节").arg(limitOctets)};
}
