#include "modem/tpdu/ReceivedTpdu.h"

#include "modem/tpdu/GsmAlphabet.h"
#include "modem/tpdu/Scts.h"

#include <QtEndian>

using namespace Qt::StringLiterals;

namespace
{

// TP-MTI, 3GPP TS 23.040, 9.2.3.1, as sent by the service centre.
enum MessageType : quint8 {
    Deliver = 0,
    SubmitReport = 1,
    StatusReport = 2,
    ReservedType = 3, // to be read as SMS-DELIVER
};

constexpr quint8 typeMask = 0x03;
constexpr quint8 userDataHeaderIndicator = 0x40;
constexpr qsizetype sctsOctets = 7;

QString decodeUcs2(QByteArrayView octets)
{
    QString text(octets.size() / 2, Qt::Uninitialized);
    qFromBigEndian<quint16>(octets.data(), text.size(), text.data());
    return text;
}

QString decodeText(QByteArrayView userData, qsizetype length, const DataCoding &dcs,
                   const UserDataHeader &udh)
{
    const QByteArrayView body = userData.sliced(udh.octets);
    if (dcs.isCompressed || dcs.alphabet == DataCoding::Alphabet::EightBit)
        return QString::fromLatin1(body.toByteArray().toHex().toUpper());
    if (dcs.alphabet == DataCoding::Alphabet::Ucs2)
        return decodeUcs2(body);
    // Length counts septets from the start of the header; the text starts at a septet boundary (9.2.3.24).
    const qsizetype headerSeptets = (udh.octets * 8 + 6) / 7;
    const int fillBits = static_cast<int>(headerSeptets * 7 - udh.octets * 8);
    const qsizetype there = (body.size() * 8 - fillBits) / 7;
    const qsizetype septets = qBound<qsizetype>(0, length - headerSeptets, qMax<qsizetype>(there, 0));
    return GsmAlphabet::decode(GsmAlphabet::unpack(body, septets, fillBits));
}

ReceivedTpdu decodeDeliver(OctetCursor &cursor, bool hasHeader)
{
    SmsDeliver deliver;
    deliver.oa = decodeAddress(cursor, u"TP-OA");
    deliver.pid = cursor.takeOctet(u"TP-PID");
    deliver.dcs = decodeDataCoding(cursor.takeOctet(u"TP-DCS"));
    deliver.scts = decodeScts(cursor.take(sctsOctets, u"TP-SCTS"));
    const qsizetype length = cursor.takeOctet(u"TP-UDL");
    const bool countsSeptets =
        !deliver.dcs.isCompressed && deliver.dcs.alphabet == DataCoding::Alphabet::Gsm7;
    const qsizetype octets = countsSeptets ? (length * 7 + 7) / 8 : length;
    const QByteArrayView userData = cursor.takeUpTo(octets); // what came of a truncated text is not lost
    if (cursor.hasFailed())
        return UnreadableTpdu{cursor.failure()};
    if (hasHeader)
        deliver.udh = decodeUserDataHeader(userData);
    deliver.ud = decodeText(userData, length, deliver.dcs, deliver.udh);
    return deliver;
}

ReceivedTpdu decodeStatusReport(OctetCursor &cursor)
{
    static_cast<void>(cursor.takeOctet(u"TP-MR"));
    static_cast<void>(decodeAddress(cursor, u"TP-RA"));
    static_cast<void>(cursor.take(sctsOctets, u"TP-SCTS"));
    static_cast<void>(cursor.take(sctsOctets, u"TP-DT"));
    static_cast<void>(cursor.takeOctet(u"TP-ST"));
    if (cursor.hasFailed())
        return UnreadableTpdu{cursor.failure()};
    return SmsStatusReport{};
}

/// Also of a TPDU whose last octet got lost: the type of an address has its first bit set, the length of one has not.
bool startsWithServiceCentre(QByteArrayView octets, qsizetype tpduOctets)
{
    const bool isAddress = octets.size() < 2 || octets[0] == 0 || (octets[1] & 0x80) != 0;
    return octets.size() != tpduOctets && (octets.size() + 1 != tpduOctets || isAddress);
}

} // namespace

ReceivedTpdu decodeReceived(QByteArrayView octets, qsizetype tpduOctets)
{
    OctetCursor cursor(octets);
    if (startsWithServiceCentre(octets, tpduOctets)) {
        const qsizetype serviceCentreOctets = cursor.takeOctet(u"service-centre address");
        static_cast<void>(cursor.take(serviceCentreOctets, u"service-centre address"));
    }
    const quint8 first = cursor.takeOctet(u"TP-MTI");
    if (cursor.hasFailed())
        return UnreadableTpdu{cursor.failure()};
    switch (first & typeMask) {
    case StatusReport:
        return decodeStatusReport(cursor);
    case SubmitReport:
        return UnreadableTpdu{u"TP-MTI of a message that was not received"_s};
    case Deliver:
    case ReservedType:
        break;
    }
    return decodeDeliver(cursor, (first & userDataHeaderIndicator) != 0);
}
