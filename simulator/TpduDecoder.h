#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <optional>
#include <variant>

namespace simulator
{
enum class Alphabet { Gsm7, EightBit, Ucs2 };

/// "gsm7", "8bit" or "ucs2".
QString alphabetName(Alphabet alphabet);

/// The concatenation information element (3GPP TS 23.040, 9.2.3.24.1 and 9.2.3.24.8).
struct Concatenation {
    int reference = 0;
    int total = 1;
    int sequence = 1;
    bool wide = false; ///< 16-bit reference
};

/// One decoded TPDU with the service-centre address before it. A field that the kind lacks keeps its default.
struct Tpdu {
    enum class Kind { Deliver, Submit, StatusReport };

    QString smsc;
    Kind kind = Kind::Submit;
    bool statusReportRequested = false;
    int messageReference = 0;
    QString number; ///< originator, destination or recipient; "+" in front when the type is international
    int dcs = 0;
    QDateTime scts; ///< with the offset that the service centre gave
    Alphabet alphabet = Alphabet::Gsm7;
    std::optional<int> messageClass; ///< 0 is a flash message
    std::optional<Concatenation> concatenation;
    QString text; ///< 8-bit data shows each octet as the character of the same code
    int status = 0;
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
