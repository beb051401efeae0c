#include "modem/tpdu/UserDataHeader.h"

namespace
{

// 3GPP TS 23.040, 9.2.3.24
enum InformationElement : quint8 {
    Concatenated8Bit = 0x00,
    Concatenated16Bit = 0x08,
};

int octetAt(QByteArrayView data, qsizetype i)
{
    return static_cast<quint8>(data[i]);
}

void noteConcatenation(UserDataHeader &header, const Concatenation &concatenation)
{
    // Anything else is to be ignored (9.2.3.24.1); one of one is a message of its own.
    if (concatenation.total > 1 && concatenation.sequence >= 1 &&
        concatenation.sequence <= concatenation.total)
        header.concatenation = concatenation;
}

void readElement(UserDataHeader &header, int identifier, QByteArrayView data)
{
    if (identifier == Concatenated8Bit && data.size() == 3)
        noteConcatenation(header, {octetAt(data, 0), 8, octetAt(data, 1), octetAt(data, 2)});
    else if (identifier == Concatenated16Bit && data.size() == 4)
        noteConcatenation(header,
                          {octetAt(data, 0) << 8 | octetAt(data, 1), 16, octetAt(data, 2), octetAt(data, 3)});
}

} // namespace

UserDataHeader decodeUserDataHeader(QByteArrayView userData)
{
    if (userData.isEmpty() || octetAt(userData, 0) >= userData.size())
        return {};
    const qsizetype length = octetAt(userData, 0);
    UserDataHeader header;
    header.octets = length + 1;
    const QByteArrayView elements = userData.sliced(1, length);
    for (qsizetype at = 0; at < length;) {
        if (length - at < 2 || octetAt(elements, at + 1) > length - at - 2) {
            UserDataHeader damaged;
            damaged.octets = header.octets;
            return damaged;
        }
        const qsizetype size = octetAt(elements, at + 1);
        readElement(header, octetAt(elements, at), elements.sliced(at + 2, size));
        at += 2 + size;
    }
    return header;
}

QByteArray encodeUserDataHeader(quint8 reference, int total, int sequence)
{
    QByteArray element;
    for (const int octet : {int{Concatenated8Bit}, 3, int{reference}, total, sequence})
        element.append(static_cast<char>(octet));
    return static_cast<char>(element.size()) + element;
}
