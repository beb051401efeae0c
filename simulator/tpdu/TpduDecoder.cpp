#include "simulator/tpdu/TpduDecoder.h"

#include "simulator/tpdu/GsmAlphabet.h"

#include <QTimeZone>

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
constexpr int maxAddressSemiOctets = 20; // 23.040, 9.1.2.5: an address has at most 12 octets
constexpr int maxUserDataSeptets = 160;  // 9.2.3.16
constexpr int maxUserDataOctets = 140;
constexpr int typeInternational = 0x1;
constexpr int typeAlphanumeric = 0x5;

/// Reads octets in order. The first read past the end makes it fail, with the field's name, and yields zeros.
class Cursor
{
public:
    explicit Cursor(const QByteArray &octets) : m_octets(octets) {}

    int octet(const char *field)
    {
        const QByteArray one = take(1, field);
        return one.isEmpty() ? 0 : static_cast<unsigned char>(one[0]);
    }
    QByteArray take(qsizetype count, const char *field)
    {
        if (remaining() < count) {
            fail(u"TPDU too short for %1"_s.arg(QLatin1StringView(field)));
            return {};
        }
        m_at += count;
        return m_octets.mid(m_at - count, count);
    }
    [[nodiscard]] qsizetype remaining() const { return m_octets.size() - m_at; }
    void fail(const QString &reason)
    {
        if (m_error.isEmpty())
            m_error = reason;
    }
    [[nodiscard]] const QString &error() const { return m_error; }

private:
    const QByteArray &m_octets;
    qsizetype m_at = 0;
    QString m_error;
};

QString semiOctetText(const QByteArray &octets, int semiOctets)
{
    constexpr QLatin1StringView digits("0123456789*#abc");
    QString text;
    for (int i = 0; i < semiOctets; ++i) {
        const auto octet = static_cast<unsigned char>(octets[i / 2]);
        const int semiOctet = i % 2 == 0 ? octet & 0x0f : octet >> 4;
        if (semiOctet < digits.size())
            text += digits[semiOctet];
    }
    return text;
}

QString addressText(int typeOfAddress, const QByteArray &value, int semiOctets)
{
    const int typeOfNumber = (typeOfAddress >> 4) & 0x7;
    if (typeOfNumber == typeAlphanumeric)
        return textFromSeptets(unpackSeptets(value, semiOctets * 4 / 7, 0).value_or(QByteArray()));
    const QString digits = semiOctetText(value, semiOctets);
    return typeOfNumber == typeInternational ? u'+' + digits : digits;
}

/// Service-centre address: its length counts octets, the type included (24.011, 8.2.5.1).
void passSmsc(Cursor &cursor)
{
    const int length = cursor.octet("service-centre address length");
    if (length > 1 + maxAddressSemiOctets / 2)
        cursor.fail(u"service-centre address of %1 octets"_s.arg(length));
    static_cast<void>(cursor.take(length, "service-centre address"));
}

/// Address field of a TPDU: its length counts semi-octets of the value (23.040, 9.1.2.5).
QString readAddress(Cursor &cursor)
{
    const int semiOctets = cursor.octet("address length");
    if (semiOctets == 0 || semiOctets > maxAddressSemiOctets + 2)
        cursor.fail(u"address of %1 semi-octets"_s.arg(semiOctets));
    const int type = cursor.octet("address type");
    const QByteArray value = cursor.take((semiOctets + 1) / 2, "address");
    if (!cursor.error().isEmpty())
        return {};
    const bool digits = ((type >> 4) & 0x7) != typeAlphanumeric;
    if (digits && semiOctets > maxAddressSemiOctets)
        cursor.fail(u"number of %1 digits"_s.arg(semiOctets));
    if (digits && semiOctets % 2 == 1 && static_cast<unsigned char>(value.back()) >> 4 != 0xf)
        cursor.fail(u"number of %1 digits without filler"_s.arg(semiOctets));
    return addressText(type, value, semiOctets);
}

/// Time stamp of the service centre (9.2.3.11): swapped decimal semi-octets, zone in quarters of an hour.
QDateTime readTimestamp(Cursor &cursor)
{
    const QByteArray octets = cursor.take(7, "service-centre time stamp");
    if (octets.isEmpty())
        return {};
    const auto decimal = [&octets](int i, int mask) {
        const auto octet = static_cast<unsigned char>(octets[i]);
        return (octet & mask) * 10 + (octet >> 4);
    };
    const int year = decimal(0, 0x0f);
    const int quarters = decimal(6, 0x07);
    const bool west = octets[6] & 0x08;
    return {QDate(year < 70 ? 2000 + year : 1900 + year, decimal(1, 0x0f), decimal(2, 0x0f)),
            QTime(decimal(3, 0x0f), decimal(4, 0x0f), decimal(5, 0x0f)),
            QTimeZone((west ? -quarters : quarters) * 15 * 60)};
}

/// Data coding scheme (23.038, 4): the 7-bit alphabet or UCS-2, with a message class or none.
void applyDcs(Tpdu &tpdu, Cursor &cursor)
{
    const int dcs = cursor.octet("data coding scheme");
    const bool hasClass = dcs & 0x10;
    if ((dcs & ~0x1b) != 0 || (!hasClass && (dcs & 0x03) != 0))
        cursor.fail(u"data coding scheme %1"_s.arg(dcs));
    tpdu.alphabet = dcs & 0x08 ? Alphabet::Ucs2 : Alphabet::Gsm7;
    tpdu.isFlash = hasClass && (dcs & 0x03) == 0;
}

std::optional<Concatenation> concatenationIn(const QByteArray &header, Cursor &outer)
{
    std::optional<Concatenation> found;
    Cursor cursor(header);
    while (cursor.remaining() > 0) {
        const int identifier = cursor.octet("information element");
        const int length = cursor.octet("information element length");
        const QByteArray data = cursor.take(length, "information element");
        if (!cursor.error().isEmpty()) {
            outer.fail(u"damaged user data header"_s);
            return std::nullopt;
        }
        const auto at = [&data](int i) { return static_cast<int>(static_cast<unsigned char>(data[i])); };
        if (identifier == 0x00 && length == 3)
            found = Concatenation{at(0), at(1), at(2)};
    }
    if (found && (found->sequence < 1 || found->sequence > found->total))
        outer.fail(u"part %1 of %2"_s.arg(found->sequence).arg(found->total));
    return found;
}

/// User data length and user data (9.2.3.16, 9.2.3.24), behind the user data header when there is one.
void readUserData(Tpdu &tpdu, Cursor &cursor, bool hasHeader)
{
    const bool septetsCounted = tpdu.alphabet == Alphabet::Gsm7;
    const int length = cursor.octet("user data length");
    const int octetCount = septetsCounted ? (length * 7 + 7) / 8 : length;
    if (length > (septetsCounted ? maxUserDataSeptets : maxUserDataOctets))
        cursor.fail(u"user data length %1"_s.arg(length));
    QByteArray data = cursor.take(octetCount, "user data");
    if (!cursor.error().isEmpty())
        return;
    int fillBits = 0;
    int septets = length;
    if (hasHeader) {
        Cursor header(data);
        const int headerOctets = 1 + header.octet("user data header length");
        if (headerOctets > data.size()) {
            cursor.fail(u"user data header longer than the user data"_s);
            return;
        }
        tpdu.concatenation = concatenationIn(data.mid(1, headerOctets - 1), cursor);
        data = data.mid(headerOctets);
        const int headerSeptets = (headerOctets * 8 + 6) / 7;
        fillBits = headerSeptets * 7 - headerOctets * 8;
        septets = qMax(0, length - headerSeptets);
    }
    if (septetsCounted) {
        tpdu.text = textFromSeptets(unpackSeptets(data, septets, fillBits).value_or(QByteArray()));
        return;
    }
    if (data.size() % 2 != 0)
        cursor.fail(u"UCS-2 text of %1 octets"_s.arg(data.size()));
    for (qsizetype i = 0; i + 1 < data.size(); i += 2)
        tpdu.text += QChar(static_cast<char16_t>(static_cast<unsigned char>(data[i]) << 8 |
                                                 static_cast<unsigned char>(data[i + 1])));
}

void readSubmit(Tpdu &tpdu, Cursor &cursor, int firstOctet)
{
    static_cast<void>(cursor.octet("message reference"));
    tpdu.number = readAddress(cursor);
    static_cast<void>(cursor.octet("protocol identifier"));
    applyDcs(tpdu, cursor);
    const int validityFormat = (firstOctet >> 3) & 0x3; // 9.2.3.3: 2 is relative, 1 and 3 have seven octets
    if (validityFormat != 0)
        static_cast<void>(cursor.take(validityFormat == 2 ? 1 : 7, "validity period"));
    readUserData(tpdu, cursor, firstOctet & 0x40);
}

void readDeliver(Tpdu &tpdu, Cursor &cursor, int firstOctet)
{
    tpdu.number = readAddress(cursor);
    static_cast<void>(cursor.octet("protocol identifier"));
    applyDcs(tpdu, cursor);
    tpdu.scts = readTimestamp(cursor);
    readUserData(tpdu, cursor, firstOctet & 0x40);
}

} // namespace

std::variant<Tpdu, TpduError> decodeTpdu(const QByteArray &octets, Direction direction)
{
    Cursor cursor(octets);
    Tpdu tpdu;
    passSmsc(cursor);
    const int firstOctet = cursor.octet("first octet");
    const int typeIndicator = firstOctet & 0x3;
    if (!cursor.error().isEmpty())
        return TpduError{cursor.error()};
    if (direction == Direction::FromModem && typeIndicator == 1)
        readSubmit(tpdu, cursor, firstOctet);
    else if (direction == Direction::ToModem && typeIndicator == 0)
        readDeliver(tpdu, cursor, firstOctet);
    else
        cursor.fail(u"message type %1"_s.arg(typeIndicator));
    if (cursor.remaining() > 0)
        cursor.fail(u"%1 octets behind the user data"_s.arg(cursor.remaining()));
    if (!cursor.error().isEmpty())
        return TpduError{cursor.error()};
    return tpdu;
}

qsizetype tpduLength(const QByteArray &octets)
{
    if (octets.isEmpty())
        return 0;
    return qMax<qsizetype>(0, octets.size() - 1 - static_cast<unsigned char>(octets[0]));
}
} // namespace simulator
