#include "simulator/tpdu/TpduEncoder.h"

#include "simulator/tpdu/GsmAlphabet.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
constexpr int userDataOctets = 140;
constexpr int headerOctets = 6; // with one concatenation element of an 8-bit reference
constexpr int maxParts = 255;
constexpr char escape = 0x1b;

char octet(int value)
{
    return static_cast<char>(value & 0xff);
}

bool isNumeric(const QString &number)
{
    const QStringView digits = number.startsWith(u'+') ? QStringView(number).mid(1) : QStringView(number);
    return !digits.isEmpty() && std::all_of(digits.begin(), digits.end(), [](QChar c) {
        return (c >= u'0' && c <= u'9') || c == u'*' || c == u'#';
    });
}

QByteArray swappedSemiOctets(const QString &digits)
{
    const auto value = [](QChar c) { return c == u'*' ? 0xa : c == u'#' ? 0xb : c.unicode() - u'0'; };
    QByteArray octets;
    for (qsizetype i = 0; i < digits.size(); i += 2) {
        const int high = i + 1 < digits.size() ? value(digits[i + 1]) : 0xf;
        octets += octet(high << 4 | value(digits[i]));
    }
    return octets;
}

QByteArray numericAddress(const QString &number, bool lengthInOctets)
{
    const bool international = number.startsWith(u'+');
    const QString digits = international ? number.mid(1) : number;
    const QByteArray value = swappedSemiOctets(digits);
    const qsizetype length = lengthInOctets ? value.size() + 1 : digits.size();
    // Type of address (23.040, 9.1.2.5): numbering plan 1 is ISDN; type 1 international, 0 unknown.
    return octet(static_cast<int>(length)) + QByteArray(1, octet(international ? 0x91 : 0x81)) + value;
}

QByteArray smscAddress(const QString &smsc)
{
    return isNumeric(smsc) ? numericAddress(smsc, true) : QByteArray(1, '\0');
}

QByteArray address(const QString &number)
{
    if (isNumeric(number))
        return numericAddress(number, false);
    const QByteArray septets = septetsFromText(number).value_or(QByteArray());
    const auto semiOctets = static_cast<int>((septets.size() * 7 + 3) / 4);
    return octet(semiOctets) + QByteArray(1, octet(0xd0)) + packSeptets(septets, 0);
}

QByteArray timestamp(const QDateTime &time)
{
    const auto swapped = [](int value) { return octet((value % 10) << 4 | (value / 10) % 10); };
    const QDate date = time.date();
    const QTime clock = time.time();
    const int quarters = time.offsetFromUtc() / (15 * 60);
    QByteArray octets;
    for (const int value :
         {date.year() % 100, date.month(), date.day(), clock.hour(), clock.minute(), clock.second()})
        octets += swapped(value);
    return octets + octet(swapped(qAbs(quarters)) | (quarters < 0 ? 0x08 : 0));
}

/// A text as units of its alphabet: septets, or two octets for each UTF-16 unit.
struct Encoded {
    Alphabet alphabet;
    QByteArray units;
};

Encoded encodedText(const QString &text)
{
    if (const std::optional<QByteArray> septets = septetsFromText(text))
        return {Alphabet::Gsm7, *septets};
    QByteArray octets;
    for (const QChar unit : text)
        octets += octet(unit.unicode() >> 8) + QByteArray(1, octet(unit.unicode()));
    return {Alphabet::Ucs2, octets};
}

/// Whether a part may end before index: not inside an extended character or a surrogate pair.
bool mayCut(const Encoded &text, qsizetype index)
{
    if (text.alphabet == Alphabet::Gsm7)
        return text.units[index - 1] != escape;
    return (static_cast<unsigned char>(text.units[index - 2]) & 0xfc) != 0xd8;
}

QList<QByteArray> cutIntoParts(const Encoded &text)
{
    const bool isGsm7 = text.alphabet == Alphabet::Gsm7;
    if (text.units.size() <= (isGsm7 ? userDataOctets * 8 / 7 : userDataOctets))
        return {text.units};
    constexpr int octetsLeft = userDataOctets - headerOctets;
    const qsizetype capacity = isGsm7 ? octetsLeft * 8 / 7 : octetsLeft / 2 * 2;
    QList<QByteArray> parts;
    for (qsizetype at = 0; at < text.units.size();) {
        qsizetype end = qMin(text.units.size(), at + capacity);
        if (end < text.units.size() && !mayCut(text, end))
            end -= isGsm7 ? 1 : 2;
        parts += text.units.mid(at, end - at);
        at = end;
    }
    return parts;
}

int codingScheme(Alphabet alphabet)
{
    return alphabet == Alphabet::Ucs2 ? 0x08 : 0x00;
}

/// User data length and user data, the header (its length octet included) in front.
QByteArray userData(const QByteArray &header, const QByteArray &encoded, Alphabet alphabet)
{
    if (alphabet != Alphabet::Gsm7)
        return octet(static_cast<int>(header.size() + encoded.size())) + header + encoded;
    const auto headerSeptets = static_cast<int>((header.size() * 8 + 6) / 7);
    const int fillBits = headerSeptets * 7 - static_cast<int>(header.size()) * 8;
    return octet(headerSeptets + static_cast<int>(encoded.size())) + header + packSeptets(encoded, fillBits);
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
    const int dcs = codingScheme(text.alphabet) | (delivery.isFlash ? 0x10 : 0);
    QList<QByteArray> tpdus;
    for (qsizetype i = 0; i < parts.size(); ++i) {
        QByteArray header;
        if (parts.size() > 1)
            header = QByteArray("\x05\x00\x03", 3) + octet(delivery.reference) +
                     octet(static_cast<int>(parts.size())) + octet(static_cast<int>(i) + 1);
        // First octet: SMS-DELIVER, no more messages waiting (bit 2), user data header indicator (bit 6).
        tpdus += smscAddress(delivery.smsc) + octet(header.isEmpty() ? 0x04 : 0x44) +
                 address(delivery.number) + octet(0) + octet(dcs) + timestamp(delivery.scts) +
                 userData(header, parts[i], text.alphabet);
    }
    return tpdus;
}

std::optional<QByteArray> encodeSubmit(const QString &number, const QString &text)
{
    const Encoded encoded = encodedText(text);
    if (!isNumeric(number) || !isEncodableNumber(number) || cutIntoParts(encoded).size() > 1)
        return std::nullopt;
    // First octet: SMS-SUBMIT without validity period. The modem's own centre is used: address length 0.
    return QByteArray(1, '\0') + octet(0x01) + octet(0) + address(number) + octet(0) +
           octet(codingScheme(encoded.alphabet)) + userData({}, encoded.units, encoded.alphabet);
}
} // namespace simulator
