#pragma once

#include <functional>

/// Told of each SMS that goes over to the modem.
struct HandOver {
    /// Of a message, concatenated or not.
    struct Part {
        int number = 1; ///< from 1 on
        int of = 1;
    };
    /// The modem waits for its text. When this throws Fault the text does not go.
    std::function<void(const Part &)> before = [](const Part &) {};
    /// The text went over, and the network has it or does not; not called when nobody knows. Must not throw.
    std::function<void(const Part &, bool isAccepted)> after = [](const Part &, bool) {};
};
