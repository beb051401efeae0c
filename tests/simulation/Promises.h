#pragma once

#include "tests/simulation/Story.h"
#include "tests/simulation/World.h"

/// What a run left: the truth, and what the office and the operator see of it.
struct Aftermath {
    Story story{};
    Truth truth{};
    QStringList results{};  ///< SMS_ResultDetail: ToMB|MsgContent|IsSuccess
    QStringList queued{};   ///< SMS_Queues: ToMB|MsgContent
    QStringList received{}; ///< SMS_SIMReceive: FromMB|MsgContent
    QStringList log{};
    QList<QByteArray> refused{}; ///< files of which the disk refused something
    bool isQuiet = true;         ///< nothing was left to do
    quint64 crossings = 0;       ///< of the first server's seams, in its last life
    QByteArray digest{};         ///< of the whole run
};

/// How many messages the network took, and how many of them once more than they were wanted.
[[nodiscard]] int accepted(const Aftermath &run);
[[nodiscard]] int doubled(const Aftermath &run);
/// The promises that the run broke, each with what broke it; none as a rule.
[[nodiscard]] QStringList brokenPromises(const Aftermath &run);
