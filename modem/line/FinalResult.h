#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <optional>

/// How an AT command ended, by the modem's own word.
struct FinalResult {
    enum class Kind {
        Ok,
        Error,    ///< ERROR and makers' words for it: no number
        CmeError, ///< 3GPP TS 27.007, 9.2
        CmsError, ///< 3GPP TS 27.005, 3.2.5
    };
    static constexpr int unknownCode = -1;

    Kind kind = Kind::Ok;
    int code = unknownCode; ///< of CmeError and CmsError; verbose texts are turned into their numbers
    bool operator==(const FinalResult &) const = default;
};

/// The final result that line is, if any. Letter case does not matter. RING and NO CARRIER are not among
/// them: this program places no call, so they only tell of somebody else's.
[[nodiscard]] std::optional<FinalResult> finalResult(QByteArrayView line);

/// The network's codes (3GPP TS 27.005, 3.2.5) answer a TPDU alone.
[[nodiscard]] bool isOfNetwork(const FinalResult &result);
/// The store's codes (3GPP TS 27.005, 3.2.5: failure, invalid index, full) answer what reads or empties it.
[[nodiscard]] bool isOfStore(const FinalResult &result);

/// The SIM has not finished starting up; the same command may succeed soon.
[[nodiscard]] bool saysSimBusy(const FinalResult &result);

/// The same command may succeed soon: the SIM or the modem is starting up, or a fault of the moment.
[[nodiscard]] bool saysTryLater(const FinalResult &result);

/// As in the modem's own answer, for the log: "+CMS ERROR: 500".
[[nodiscard]] QByteArray describe(const FinalResult &result);
