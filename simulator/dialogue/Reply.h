#pragma once

#include <QByteArrayList>
#include <chrono>
#include <functional>
#include <optional>

namespace simulator
{
/// What a command answers: information lines, then one final result, perhaps late or after a prompted body.
struct Reply {
    /// Nothing: the answer stays without its end. Restart and Unplug: that happens instead of an answer.
    enum class Final { Ok, Error, CmeError, CmsError, Nothing, Restart, Unplug };

    QByteArrayList lines = {}; ///< without line ends; the first one follows a blank line
    Final final = Final::Ok;
    int code = 0; ///< of a CmeError or CmsError

    /// When set, the modem prompts instead of answering, takes a body up to Ctrl-Z, and
    /// answers what this returns.
    std::function<Reply(const QByteArray &body)> takeBody = {};

    /// From the command to its answer.
    std::chrono::milliseconds delay{0};
    /// While the answer is awaited, new input makes the modem take commands again; the answer still comes
    /// when its delay is over, whatever is going on then.
    bool interruptible = false;
    /// Written in place of everything else, octet for octet.
    std::optional<QByteArray> raw = {};
    /// Lines that come behind the final result.
    QByteArrayList linesAfter = {};

    static Reply ok(const QByteArrayList &lines = {}) { return {.lines = lines}; }
    static Reply error() { return {.final = Final::Error}; }
    static Reply cmeError(int code) { return {.final = Final::CmeError, .code = code}; }
    static Reply cmsError(int code) { return {.final = Final::CmsError, .code = code}; }
};
} // namespace simulator
