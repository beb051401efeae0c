#pragma once

#include "tests/simulation/Story.h"

#include <optional>

/// Where the server dies once more than its story says.
struct ExtraKill {
    quint64 crossing = 0; ///< of the first server, from its start
    bool isPowerCut = false;
};

/// What came of one story.
struct Outcome {
    QStringList broken; ///< promises
    QByteArray digest;
    QStringList log;
    int kills = 0;
    int sent = 0;          ///< accepted by the network
    int refused = 0;       ///< by it
    int doubled = 0;       ///< of these, once more than wanted
    quint64 crossings = 0; ///< of the first server's seams, in its last life
};

/// Lives through a story and judges it.
[[nodiscard]] Outcome simulate(const Story &story, std::optional<ExtraKill> extraKill = {});

/// The story without whatever it breaks its promises without.
[[nodiscard]] Story shortest(Story story);
