#include "simulator/tpdu/TpduDecoder.h"

#include "simulator/tpdu/GsmAlphabet.h"

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
constexpr int maxDigits = 20;           // 23.040, 9.1.2.5: an address has at most 12 octets
constexpr int maxUserDataSeptets = 160; // 9.2.3.16
constexpr int maxUserDataOctets = 140;

void require(bool holds, const QString &reason)
{
    if (!holds)
        throw TpduError{reason};
}

/// Reads octets in order. A read past the end throws TpduError with the field's name.
class Cursor
{
public:
    explicit Cursor(const QByteArray &octets) : m_octets(octets) {}

    int octet(QLatin1StringView field) { return static_cast<unsigned char>(take(1, field)[0]); }
    QByteArray take(qsizetype count, QLatin1StringView field)
    {
        require(count <= remaining(), u"TPDU too short for %1"_s.arg(field));
        m_at += count;
        return m_octets.mid(m_at - count, count);
    }
    [[nodiscard]] qsizetype remaining() const { return m_octets.size() - m_at; }

private:
    QByteArray m_octets;
    qsizetype m_at = 0;
};

/// Service-centre address: its length counts octets, the type included (24.011, 8.2.5.1).
void passSmsc(Cursor &cursor)
{
    const int length = cursor.octet("service-centre address length"_L1);
    require(length <= 1 + maxDigits / 2, u"service-centre address of %1 octets"_s.arg(length));
    cursor.take(length, "service-centre address"_L1);
}

/// Address field of a TPDU: its length counts semi-octets of the value (23.040, 9.1.2.5).
QString readAddress(Cursor &cursor)
{
    constexpr int international = 0x1;
    constexpr int alphanumeric = 0x5;
    const int semiOctets = cursor.octet("address length"_L1);
    const int typeOfNumber = (cursor.octet("address type"_L1) >> 4) & 0x7;
    const bool isNumber = typeOfNumber != alphanumeric;
    require(semiOctets > 0 && semiOctets <= (isNumber ? maxDigits : maxDigits + 2),
            u"address of %1 semi-octets"_s.arg(semiOctets));
    const QByteArray value = cursor.take((semiOctets + 1) / 2, "address"_L1);
    if (!isNumber)
        return textFromSeptets(unpackSeptets(value, semiOctets * 4 / 7, 0));
    QString number = typeOfNumber == international ? u"+"_s : QString();
    for (int i = 0; i < value.size() * 2; ++i) {
        const int semiOctet = (value[i / 2] >> i % 2 * 4) & 0xf;
        require((semiOctet == 0xf) == (i == semiOctets), u"number of %1 digits"_s.arg(semiOctets));
        if (i < semiOctets)
            number += "0123456789*#abc"_L1[semiOctet];
    }
    return number;
}

std::optional<Concatenation> concatenationIn(const QByteArray &header)
{
    std::optional<Concatenation> found;
    Cursor cursor(header);
    while (cursor.remaining() > 0) {
        const int identifier = cursor.octet("information element"_L1);
        const int length = cursor.octet("information element length"_L1);
        const QByteArray data = cursor.take(length, "information element"_L1);
        const auto at = [&data](int i) { return static_cast<int>(static_cast<unsigned char>(data[i])); };
        if (identifier == 0x00 && length == 3)
            found = Concatenation{.reference = at(0), .total = at(1), .sequence = at(2)};
    }
    if (found)
        require(found->sequence >= 1 && found->sequence <= found->total,
                u"part %1 of %2"_s.arg(found->sequence).arg(found->total));
    return found;
}

/// User data length and user data (9.2.3.16, 9.2.3.24), behind the user data header when there is one.
void readUserData(Tpdu &tpdu, Cursor &cursor, bool isUcs2, bool hasHeader)
{
    const int length = cursor.octet("user data length"_L1);
    require(length <= (isUcs2 ? maxUserDataOctets : maxUserDataSeptets),
            u"user data length %1"_s.arg(length));
    QByteArray data = cursor.take(isUcs2 ? length : (length * 7 + 7) / 8, "user data"_L1);
    int headerOctets = 0;
    if (hasHeader) {
        Cursor header(data);
        headerOctets = 1 + header.octet("user data header length"_L1);
        tpdu.concatenation = concatenationIn(header.take(headerOctets - 1, "user data header"_L1));
        data = data.mid(headerOctets);
    }
    if (!isUcs2) {
        const int headerSeptets = (headerOctets * 8 + 6) / 7;
        tpdu.text = textFromSeptets(
            unpackSeptets(data, length - headerSeptets, headerSeptets * 7 - headerOctets * 8));
        return;
    }
    require(data.size() % 2 == 0, u"UCS-2 text of %1 octets"_s.arg(data.size()));
    for (qsizetype i = 0; i < data.size(); i += 2)
        tpdu.text += QChar(static_cast<uchar>(data[i + 1]), static_cast<uchar>(data[i]));
}

Tpdu readTpdu(Cursor cursor, Direction direction)
{
    Tpdu tpdu;
    passSmsc(cursor);
    const int firstOctet = cursor.octet("first octet"_L1);
    const bool isSubmit = direction == Direction::FromModem;
    require((firstOctet & 0x3) == (isSubmit ? 1 : 0), u"message type %1"_s.arg(firstOctet & 0x3));
    if (isSubmit)
        cursor.octet("message reference"_L1);
    tpdu.number = readAddress(cursor);
    cursor.octet("protocol identifier"_L1);
    // Data coding scheme (23.038, 4): the 7-bit alphabet or UCS-2, with a message class or none.
    const int dcs = cursor.octet("data coding scheme"_L1);
    const bool hasClass = dcs & 0x10;
    require((dcs & ~0x1b) == 0 && (hasClass || (dcs & 0x03) == 0), u"data coding scheme %1"_s.arg(dcs));
    tpdu.isFlash = hasClass && (dcs & 0x03) == 0;
    const int validityFormat = (firstOctet >> 3) & 0x3; // 9.2.3.3: 2 is relative, 1 and 3 have seven octets
    if (isSubmit && validityFormat != 0)
        cursor.take(validityFormat == 2 ? 1 : 7, "validity period"_L1);
    if (!isSubmit)
        cursor.take(7, "service-centre time stamp"_L1);
    readUserData(tpdu, cursor, dcs & 0x08, firstOctet & 0x40);
    require(cursor.remaining() == 0, u"%1 octets behind the user data"_s.arg(cursor.remaining()));
    return tpdu;
}
} // namespace

std::variant<Tpdu, TpduError> decodeTpdu(const QByteArray &octets, Direction direction)
{
    try {
        return readTpdu(Cursor(octets), direction);
    } catch (const TpduError &error) {
        return error;
    }
}

qsizetype tpduLength(const QByteArray &octets)
{
    if (octets.isEmpty())
        return 0;
    return qMax<qsizetype>(0, octets.size() - 1 - static_cast<unsigned char>(octets[0]));
}
} // namespace simulator
