#include "simulator/network/MessageText.h"

#include "simulator/tpdu/GsmAlphabet.h"
#include "simulator/tpdu/TpduDecoder.h"

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
/// What the 7-bit alphabet cannot show is written as hexadecimal UCS-2, as modems do.
QByteArray textLine(const QString &text)
{
    if (const std::optional<QByteArray> septets = septetsFromText(text))
        return *septets;
    QByteArray hex;
    for (const QChar unit : text)
        hex += QByteArray::number(unit.unicode(), 16).rightJustified(4, '0');
    return hex.toUpper();
}

QByteArray quoted(const QByteArray &text)
{
    return '"' + text + '"';
}

QByteArrayList pduLines(const QByteArray &header, const QByteArray &pdu)
{
    return {header + QByteArray::number(tpduLength(pdu)), pdu.toHex().toUpper()};
}

/// A message that was received.
QByteArrayList textLines(const QByteArray &header, const QByteArray &pdu)
{
    const auto decoded = decodeTpdu(pdu, Direction::ToModem);
    const auto *tpdu = std::get_if<Tpdu>(&decoded);
    if (!tpdu)
        return {header + "\"\",,", pdu.toHex().toUpper()};
    const int quarters = tpdu->scts.offsetFromUtc() / (15 * 60);
    const QByteArray time = tpdu->scts.toString(u"yy/MM/dd,hh:mm:ss"_s).toLatin1() +
                            (quarters < 0 ? '-' : '+') +
                            QByteArray::number(qAbs(quarters)).rightJustified(2, '0');
    return {header + quoted(tpdu->number.toLatin1()) + ",," + quoted(time), textLine(tpdu->text)};
}
} // namespace

QByteArrayList listLines(int index, const StoredMessage &message)
{
    return pduLines("+CMGL: " + QByteArray::number(index) + ',' +
                        QByteArray::number(static_cast<int>(message.status)) + ",,",
                    message.pdu);
}

QByteArrayList readLines(const ModemState &state, const StoredMessage &message)
{
    if (state.isTextMode())
        return textLines("+CMGR: " + quoted(statusWord(message.status)) + ',', message.pdu);
    return pduLines("+CMGR: " + QByteArray::number(static_cast<int>(message.status)) + ",,", message.pdu);
}

QByteArrayList directMessageLines(const ModemState &state, const QByteArray &pdu)
{
    return state.isTextMode() ? textLines("+CMT: ", pdu) : pduLines("+CMT: ,", pdu);
}

QByteArray statusWord(MessageStatus status)
{
    constexpr std::array<const char *, 4> words{"REC UNREAD", "REC READ", "STO UNSENT", "STO SENT"};
    return words.at(static_cast<size_t>(status));
}
} // namespace simulator
