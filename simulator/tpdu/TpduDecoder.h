#pragma once

#include <QByteArray>
#include <QString>
#include <optional>
#include <variant>

namespace simulator
{
/// The concatenation information element with an 8-bit reference (3GPP TS 23.040, 9.2.3.24.1).
struct Concatenation {
    int reference = 0;
    int total = 1;
    int sequence = 1;
};

/// What somebody asks of an SMS-SUBMIT or SMS-DELIVER.
struct Tpdu {
    QString number;       ///< originator or destination; "+" in front when the type is international
    bool isFlash = false; ///< class 0
    std::optional<Concatenation> concatenation;
    QString text;
};

/// Why octets are no TPDU: names the field.
struct TpduError {
    QString reason;
};

/// Which end wrote the TPDU: the type indicator means another message in each direction (9.2.3.1).
enum class Direction { FromModem, ToModem };

/// Decodes octets (raw, service-centre address first). Strict, because it stands in for a network that
/// refuses what is not well formed: every length must fit, and nothing may follow the user data.
std::variant<Tpdu, TpduError> decodeTpdu(const QByteArray &octets, Direction direction);

/// The octets that AT commands count: all behind the service-centre address (3GPP TS 27.005, 3.1, <length>).
qsizetype tpduLength(const QByteArray &octets);
} // namespace simulator
