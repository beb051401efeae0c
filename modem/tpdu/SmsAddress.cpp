#include "modem/tpdu/SmsAddress.h"

#include "modem/tpdu/GsmAlphabet.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{

// Type of address with the telephone numbering plan, 3GPP TS 23.040, 9.1.2.5.
constexpr char unknownNumber = '\x81';
constexpr char internationalNumber = '\x91';
constexpr quint8 filler = 0x0f;

QString decodeDigits(QByteArrayView octets, qsizetype semiOctets)
{
    constexpr QStringView digits = u"0123456789*#abc"; // 3GPP TS 23.040, 9.1.2.3
    QString text;
    for (qsizetype i = 0; i < semiOctets; ++i) {
        const auto octet = static_cast<quint8>(octets[i / 2]);
        const int digit = i % 2 == 0 ? octet & 0x0f : octet >> 4;
        if (digit < digits.size())
            text.append(digits[digit]);
    }
    return text;
}

} // namespace

QString SmsAddress::display() const
{
    if (value.isEmpty())
        return value;
    if (ton == TypeOfNumber::Alphanumeric &&
        std::none_of(value.cbegin(), value.cend(), [](QChar c) { return c.isLetter(); }))
        return u'"' + value + u'"';
    return ton == TypeOfNumber::International ? u'+' + value : value;
}

QString displayWithin(const SmsAddress &address, const QString &countryCode)
{
    const bool isOwnCountry = address.ton == SmsAddress::TypeOfNumber::International &&
                              !countryCode.isEmpty() && address.value.startsWith(countryCode) &&
                              address.value.size() > countryCode.size();
    return isOwnCountry ? address.value.sliced(countryCode.size()) : address.display();
}

bool isDialable(const QString &number)
{
    const QStringView digits = number.startsWith(u'+') ? QStringView(number).sliced(1) : QStringView(number);
    return !digits.isEmpty() && digits.size() <= SmsAddress::mostDigits &&
           std::all_of(digits.begin(), digits.end(), [](QChar c) { return c >= u'0' && c <= u'9'; });
}

QByteArray encodeAddress(const QString &number)
{
    Q_ASSERT(isDialable(number));
    const bool isInternational = number.startsWith(u'+');
    const QStringView digits = QStringView(number).sliced(isInternational ? 1 : 0);
    QByteArray octets;
    octets.append(static_cast<char>(digits.size()));
    octets.append(isInternational ? internationalNumber : unknownNumber);
    for (qsizetype i = 0; i < digits.size(); i += 2) {
        const int low = digits[i].digitValue();
        const int high = i + 1 < digits.size() ? digits[i + 1].digitValue() : filler;
        octets.append(static_cast<char>(low | (high << 4)));
    }
    return octets;
}

SmsAddress decodeAddress(OctetCursor &cursor, QStringView field)
{
    const qsizetype semiOctets = cursor.takeOctet(field);
    const quint8 type = cursor.takeOctet(field);
    const QByteArrayView octets = cursor.take((semiOctets + 1) / 2, field);
    if (cursor.hasFailed())
        return {};
    SmsAddress address;
    address.ton = static_cast<SmsAddress::TypeOfNumber>((type >> 4) & 0x07);
    if (address.ton == SmsAddress::TypeOfNumber::Alphanumeric)
        address.value = GsmAlphabet::decode(GsmAlphabet::unpack(octets, semiOctets * 4 / 7));
    else
        address.value = decodeDigits(octets, semiOctets);
    return address;
}
