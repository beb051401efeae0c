#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

/// What hangs on the port and how it stands in its network, as it was last asked: while the port is open at least once a
/// minute. What the modem does not tell is "" or nothing.
struct ModemStatus {
    QString model;   ///< maker and model in its own words
    QString imeiEnd; ///< the last four digits of its own number
    QString simEnd;  ///< the last four digits of the SIM card's number (ICCID)
    QString network; ///< the operator's name
    std::optional<int> signalDbm;
    bool isRegistered = false;
    bool isSimReady = true; ///< the SIM card answers and asks for no PIN
    /// A memory for messages, by its name in 3GPP TS 27.005, 3.2.2.
    struct Memory {
        QString name;
        int used = 0;  ///< places that hold anything, drafts included
        int total = 0; ///< 0 where it is not known; such a memory is never full

        [[nodiscard]] bool isFull() const { return total > 0 && used >= total; }
        /// Four fifths.
        [[nodiscard]] bool isNearlyFull() const { return total > 0 && used >= total - total / 5; }
    };
    QList<Memory> memories = {};  ///< those that were read
    int baud = 0;                 ///< the line speed at which it answered
    QStringList workarounds = {}; ///< what of the usual it does not take, in Chinese
    QStringList troubles = {};    ///< what keeps it from sending or receiving, in Chinese

    /// 0 to 4, as telephones show it.
    [[nodiscard]] int signalBars() const
    {
        int bars = signalDbm ? 1 : 0;
        for (const int dbm : {-101, -91, -81})
            bars += signalDbm && *signalDbm >= dbm ? 1 : 0;
        return bars;
    }
};
