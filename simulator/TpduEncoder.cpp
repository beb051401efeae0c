#include "simulator/TpduEncoder.h"

#include "simulator/GsmAlphabet.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
constexpr int userDataOctets = 140;
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

/// The text as units of its alphabet: septets, octets, or two octets for each UTF-16 unit.
std::optional<QByteArray> encodedText(const QString &text, Alphabet alphabet)
{
    switch (alphabet) {
    case Alphabet::Gsm7:
        return septetsFromText(text);
    case Alphabet::EightBit:
        return std::all_of(text.begin(), text.end(), [](QChar c) { return c.unicode() < 0x100; })
                   ? std::optional(text.toLatin1())
                   : std::nullopt;
    case Alphabet::Ucs2: {
        QByteArray octets;
        for (const QChar unit : text)
            octets += octet(unit.unicode() >> 8) + QByteArray(1, octet(unit.unicode()));
        return octets;
    }
    }
    Q_UNREACHABLE();
}

/// Whether a part may end before index: not inside an extended character or a surrogate pair.
bool mayCut(const QByteArray &encoded, qsizetype index, Alphabet alphabet)
{
    if (alphabet == Alphabet::Gsm7)
        return encoded[index - 1] != escape;
    if (alphabet == Alphabet::Ucs2)
        return (static_cast<unsigned char>(encoded[index - 2]) & 0xfc) != 0xd8;
    return true;
}

QList<QByteArray> cutIntoParts(const QByteArray &encoded, Alphabet alphabet, int headerOctets)
{
    const auto capacity = [alphabet](int octetsTaken) -> qsizetype {
        const int octetsLeft = userDataOctets - octetsTaken;
        if (alphabet == Alphabet::Gsm7)
            return octetsLeft * 8 / 7;
        return alphabet == Alphabet::Ucs2 ? octetsLeft / 2 * 2 : octetsLeft;
    };
    if (encoded.size() <= capacity(0))
        return {encoded};
    const qsizetype step = alphabet == Alphabet::Ucs2 ? 2 : 1;
    QList<QByteArray> parts;
    for (qsizetype at = 0; at < encoded.size();) {
        qsizetype end = qMin(encoded.size(), at + capacity(headerOctets));
        if (end < encoded.size() && !mayCut(encoded, end, alphabet))
            end -= step;
        parts += encoded.mid(at, end - at);
        at = end;
    }
    return parts;
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

int codingScheme(Alphabet alphabet, std::optional<int> messageClass)
{
    const int coding = alphabet == Alphabet::Ucs2 ? 0x08 : alphabet == Alphabet::EightBit ? 0x04 : 0x00;
    return messageClass ? coding | 0x10 | *messageClass : coding;
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
    const Alphabet alphabet =
        delivery.alphabet.value_or(septetsFromText(delivery.text) ? Alphabet::Gsm7 : Alphabet::Ucs2);
    const std::optional<QByteArray> encoded = encodedText(delivery.text, alphabet);
    if (!encoded || !isEncodableNumber(delivery.number))
        return {};
    const QList<QByteArray> parts = cutIntoParts(*encoded, alphabet, delivery.wideReference ? 7 : 6);
    if (parts.size() > maxParts)
        return {};
    QList<QByteArray> tpdus;
    for (qsizetype i = 0; i < parts.size(); ++i) {
        QByteArray header;
        if (parts.size() > 1) {
            if (delivery.wideReference)
                header = QByteArray("\x06\x08\x04", 3) + octet(delivery.reference >> 8);
            else
                header = QByteArray("\x05\x00\x03", 3);
            header += octet(delivery.reference);
            header += octet(static_cast<int>(parts.size()));
            header += octet(static_cast<int>(i) + 1);
        }
        // First octet: SMS-DELIVER, no more messages waiting (bit 2), user data header indicator (bit 6).
        tpdus += smscAddress(delivery.smsc) + octet(header.isEmpty() ? 0x04 : 0x44) +
                 address(delivery.number) + octet(0) + octet(codingScheme(alphabet, delivery.messageClass)) +
                 timestamp(delivery.scts) + userData(header, parts[i], alphabet);
    }
    return tpdus;
}

std::optional<QByteArray> encodeSubmit(const QString &number, const QString &text, int protocolIdentifier,
                                       int dcs)
{
    const int coding = (dcs >> 2) & 0x3;
    const Alphabet alphabet = coding == 2   ? Alphabet::Ucs2
                              : coding == 1 ? Alphabet::EightBit
                                            : Alphabet::Gsm7;
    const std::optional<QByteArray> encoded = encodedText(text, alphabet);
    if (!encoded || !isNumeric(number) || !isEncodableNumber(number) ||
        cutIntoParts(*encoded, alphabet, 0).size() > 1)
        return std::nullopt;
    // First octet: SMS-SUBMIT without validity period. The modem's own centre is used: address length 0.
    return QByteArray(1, '\0') + octet(0x01) + octet(0) + address(number) + octet(protocolIdentifier) +
           octet(dcs) + userData({}, *encoded, alphabet);
}

QByteArray encodeStatusReport(const QString &number, int messageReference, int status, const QDateTime &scts,
                              const QString &smsc)
{
    return smscAddress(smsc) + octet(0x06) + octet(messageReference) + address(number) + timestamp(scts) +
           timestamp(scts) + octet(status);
}
} // namespace simulator
