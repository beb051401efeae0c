#include "simulator/tpdu/TpduEncoder.h"

#include "simulator/tpdu/GsmAlphabet.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
constexpr int userDataOctets = 140;
constexpr int headerOctets = 6; // with one concatenation element of an 8-bit reference
constexpr int maxParts = 255;
constexpr char escape = 0x1b;

QByteArray octet(qsizetype value)
{
    return QByteArray(1, static_cast<char>(value & 0xff));
}

bool isNumeric(const QString &number)
{
    static const QRegularExpression digits(u"^\\+?[0-9*#]+$"_s);
    return digits.match(number).hasMatch();
}

QByteArray numericAddress(const QString &number, bool lengthInOctets)
{
    const bool international = number.startsWith(u'+');
    const QString digits = international ? number.mid(1) : number;
    const auto semiOctet = [&digits](qsizetype i) {
        return i < digits.size() ? "0123456789*#"_L1.indexOf(digits[i]) : 0xf;
    };
    QByteArray value;
    for (qsizetype i = 0; i < digits.size(); i += 2)
        value += octet(semiOctet(i + 1) << 4 | semiOctet(i));
    // Type of address (23.040, 9.1.2.5): numbering plan 1 is ISDN; type 1 international, 0 unknown.
    return octet(lengthInOctets ? value.size() + 1 : digits.size()) + octet(international ? 0x91 : 0x81) +
           value;
}

QByteArray address(const QString &number)
{
    if (isNumeric(number))
        return numericAddress(number, false);
    const QByteArray septets = septetsFromText(number).value_or(QByteArray());
    return octet((septets.size() * 7 + 3) / 4) + octet(0xd0) + packSeptets(septets, 0);
}

QByteArray timestamp(const QDateTime &time)
{
    const auto swapped = [](int value) { return (value % 10) << 4 | value / 10; };
    const QDate date = time.date();
    const QTime clock = time.time();
    const int quarters = time.offsetFromUtc() / (15 * 60);
    QByteArray octets;
    for (const int value :
         {date.year() % 100, date.month(), date.day(), clock.hour(), clock.minute(), clock.second()})
        octets += octet(swapped(value));
    return octets + octet(swapped(qAbs(quarters)) | (quarters < 0 ? 0x08 : 0));
}

/// A text as units of its alphabet: septets, or two octets for each UTF-16 unit.
struct Encoded {
    bool isUcs2;
    QByteArray units;
};

Encoded encodedText(const QString &text)
{
    if (const std::optional<QByteArray> septets = septetsFromText(text))
        return {false, *septets};
    QByteArray octets;
    for (const QChar unit : text)
        octets += octet(unit.row()) + octet(unit.cell());
    return {true, octets};
}

/// Whether a part may end before index: not inside an extended character or a surrogate pair.
bool mayCut(const Encoded &text, qsizetype index)
{
    if (!text.isUcs2)
        return text.units[index - 1] != escape;
    return (static_cast<unsigned char>(text.units[index - 2]) & 0xfc) != 0xd8;
}

QList<QByteArray> cutIntoParts(const Encoded &text)
{
    const auto unitsIn = [&text](int octets) { return text.isUcs2 ? octets : octets * 8 / 7; };
    if (text.units.size() <= unitsIn(userDataOctets))
        return {text.units};
    QList<QByteArray> parts;
    for (qsizetype at = 0; at < text.units.size(); at += parts.last().size()) {
        qsizetype end = qMin(text.units.size(), at + unitsIn(userDataOctets - headerOctets));
        if (end < text.units.size() && !mayCut(text, end))
            end -= text.isUcs2 ? 2 : 1;
        parts += text.units.mid(at, end - at);
    }
    return parts;
}

/// User data length and user data, the header (its length octet included) in front.
QByteArray userData(const QByteArray &header, const QByteArray &units, bool isUcs2)
{
    if (isUcs2)
        return octet(header.size() + units.size()) + header + units;
    const auto headerSeptets = static_cast<int>((header.size() * 8 + 6) / 7);
    const int fillBits = headerSeptets * 7 - static_cast<int>(header.size()) * 8;
    return octet(headerSeptets + units.size()) + header + packSeptets(units, fillBits);
}
} // namespace

bool isEncodableNumber(const QString &number)
{
    constexpr qsizetype maxDigits = 20;
    constexpr qsizetype maxSeptets = 11;
    if (isNumeric(number))
        return number.size() - (number.startsWith(u'+') ? 1 : 0) <= maxDigits;
    const std::optional<QByteArray> septets = septetsFromText(number);
    return septets && !septets->isEmpty() && septets->size() <= maxSeptets;
}

QList<QByteArray> encodeDeliver(const Delivery &delivery)
{
    const Encoded text = encodedText(delivery.text);
    const QList<QByteArray> parts = cutIntoParts(text);
    if (parts.size() > maxParts || !isEncodableNumber(delivery.number))
        return {};
    const int dcs = (text.isUcs2 ? 0x08 : 0) | (delivery.isFlash ? 0x10 : 0);
    QList<QByteArray> tpdus;
    for (const QByteArray &part : parts) {
        QByteArray header;
        if (parts.size() > 1)
            header = QByteArray("\x05\x00\x03", 3) + octet(delivery.reference) + octet(parts.size()) +
                     octet(tpdus.size() + 1);
        // First octet: SMS-DELIVER, no more messages waiting (bit 2), user data header indicator (bit 6).
        tpdus += (isNumeric(delivery.smsc) ? numericAddress(delivery.smsc, true) : octet(0)) +
                 octet(header.isEmpty() ? 0x04 : 0x44) + address(delivery.number) + octet(0) + octet(dcs) +
                 timestamp(delivery.scts) + userData(header, part, text.isUcs2);
    }
    return tpdus;
}
} // namespace simulator
