#pragma once

#include "platform/registry/Registry.h"

#include <QString>
#include <QStringList>
#include <chrono>
#include <optional>

/// The settings that the service works by, as they are in force: read at Start and kept until the next one, whatever
/// becomes of the store meanwhile. The connection string is not among them: each OpenDB reads it.
struct ServiceSettings {
    static constexpr std::chrono::seconds defaultScanInterval{10};

    QString serviceCentre;                                   ///< "" = none was set
    std::chrono::seconds scanInterval = defaultScanInterval; ///< never more than a timer holds
    QString serverPort;                                      ///< as typed; "" = none was set
    std::optional<qint16> comPort;
    int lineSpeed = 0; ///< baud; 0 = searched
    QString senderCountryCode;

    bool areServersSeveral = false;
    int sendPerHour = 0; ///< 0 = no limit, as in the next two
    int sendPerDay = 0;
    int repliesPerHour = 0;
    std::chrono::seconds sendGap{0};

    bool verifiesMailServers = false;
    bool attachesHiddenText = false;

    /// Settings of ours that have no effect, and why, for the operator. The three of the dialog are not among them:
    /// each has a meaning or a message of its own.
    QStringList problems;
};

/// Throws Fault when the registry cannot be read.
[[nodiscard]] ServiceSettings readServiceSettings(const Registry &registry);
