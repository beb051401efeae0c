#include "modem/tpdu/SmsSubmit.h"

#include "modem/tpdu/GsmAlphabet.h"
#include "modem/tpdu/SmsAddress.h"
#include "modem/tpdu/UserDataHeader.h"

#include <QtEndian>
#include <optional>

namespace
{

// 3GPP TS 23.040, 9.2.3.24.1: 140 octets of user data, 6 of them for the header of a part.
constexpr qsizetype septetsOfOne = 160;
constexpr qsizetype septetsOfPart = 153;
constexpr qsizetype unitsOfOne = 70;
constexpr qsizetype unitsOfPart = 67;

constexpr char submitOctet = 0x01; // TP-MTI SMS-SUBMIT, no validity period: the service centre's own
constexpr char userDataHeaderIndicator = 0x40;
constexpr char dcsGsm7 = 0x00;
constexpr char dcsUcs2 = 0x08;

SmsSubmit makeSubmit(const QString &number, const QByteArray &header, char dcs, qsizetype userDataLength,
                     const QByteArray &body)
{
    SmsSubmit submit;
    submit.octets.append('\0'); // service-centre address: none
    submit.octets.append(
        static_cast<char>(header.isEmpty() ? submitOctet : submitOctet | userDataHeaderIndicator));
    submit.octets.append('\0'); // TP-MR: the modem counts
    submit.octets += encodeAddress(number);
    submit.octets.append('\0'); // TP-PID
    submit.octets.append(dcs);
    submit.octets.append(static_cast<char>(userDataLength));
    submit.octets += header + body;
    return submit;
}

SmsSubmit gsm7Submit(const QString &number, const QByteArray &header, QByteArrayView septets)
{
    const qsizetype headerSeptets = (header.size() * 8 + 6) / 7;
    const int fillBits = static_cast<int>(headerSeptets * 7 - header.size() * 8);
    return makeSubmit(number, header, dcsGsm7, headerSeptets + septets.size(),
                      GsmAlphabet::pack(septets, fillBits));
}

SmsSubmit ucs2Submit(const QString &number, const QByteArray &header, QStringView units)
{
    QByteArray body(units.size() * 2, Qt::Uninitialized);
    qToBigEndian<quint16>(units.utf16(), units.size(), body.data());
    return makeSubmit(number, header, dcsUcs2, header.size() + body.size(), body);
}

/// The lengths of the parts; empty when they are too many. keepsTogether(i): unit i must not end a part.
template <typename KeepsTogether>
QList<qsizetype> partLengths(qsizetype size, qsizetype most, KeepsTogether keepsTogether)
{
    QList<qsizetype> lengths;
    for (qsizetype start = 0; start < size; start += lengths.last()) {
        if (lengths.size() == SmsSubmit::mostParts)
            return {};
        const bool isLast = size - start <= most;
        lengths.append(isLast ? size - start : keepsTogether(start + most - 1) ? most - 1 : most);
    }
    return lengths;
}

template <typename View, typename MakeOne>
QList<SmsSubmit> concatenated(View text, const QList<qsizetype> &lengths, quint8 reference, MakeOne makeOne)
{
    QList<SmsSubmit> submits;
    qsizetype start = 0;
    for (const qsizetype length : lengths) {
        const QByteArray header = encodeUserDataHeader(reference, static_cast<int>(lengths.size()),
                                                       static_cast<int>(submits.size()) + 1);
        submits.append(makeOne(header, text.sliced(start, length)));
        start += length;
    }
    return submits;
}

} // namespace

QList<SmsSubmit> encodeSubmits(const QString &number, const QString &text, quint8 reference)
{
    if (const std::optional<QByteArray> septets = GsmAlphabet::encode(text)) {
        if (septets->size() <= septetsOfOne)
            return {gsm7Submit(number, {}, *septets)};
        const auto isEscape = [&](qsizetype i) { return septets->at(i) == GsmAlphabet::escape; };
        return concatenated(
            QByteArrayView(*septets), partLengths(septets->size(), septetsOfPart, isEscape), reference,
            [&](const QByteArray &header, QByteArrayView part) { return gsm7Submit(number, header, part); });
    }
    if (text.size() <= unitsOfOne)
        return {ucs2Submit(number, {}, text)};
    const auto opensPair = [&](qsizetype i) {
        return text.at(i).isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate();
    };
    return concatenated(
        QStringView(text), partLengths(text.size(), unitsOfPart, opensPair), reference,
        [&](const QByteArray &header, QStringView part) { return ucs2Submit(number, header, part); });
}
