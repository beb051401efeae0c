#include "simulator/MessageText.h"

#include "simulator/GsmAlphabet.h"
#include "simulator/TpduDecoder.h"

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
bool isReceived(MessageStatus status)
{
    return status == MessageStatus::ReceivedUnread || status == MessageStatus::ReceivedRead;
}

QByteArray hexText(const QString &text)
{
    QByteArray hex;
    for (const QChar unit : text)
        hex += QByteArray::number(unit.unicode(), 16).rightJustified(4, '0');
    return hex.toUpper();
}

/// Text for text mode. What the character set cannot show is written as hexadecimal UCS-2, as modems do.
QByteArray textInCharacterSet(const QByteArray &characterSet, const QString &text)
{
    if (characterSet == "GSM") {
        if (const std::optional<QByteArray> septets = septetsFromText(text))
            return *septets;
    } else if (characterSet == "IRA" &&
               std::all_of(text.begin(), text.end(), [](QChar c) { return c.unicode() < 0x80; })) {
        return text.toLatin1();
    }
    return hexText(text);
}

QByteArray quoted(const QByteArray &text)
{
    return '"' + text + '"';
}

QByteArray timeText(const QDateTime &time)
{
    const int quarters = time.offsetFromUtc() / (15 * 60);
    return quoted(time.toString(u"yy/MM/dd,hh:mm:ss"_s).toLatin1() + (quarters < 0 ? '-' : '+') +
                  QByteArray::number(qAbs(quarters)).rightJustified(2, '0'));
}

/// Header fields behind the status, and the text.
struct TextForm {
    QByteArray header;
    QByteArray text;
};

TextForm textForm(const ModemState &state, const QByteArray &pdu, bool received)
{
    const auto decoded = decodeTpdu(pdu, received ? Direction::ToModem : Direction::FromModem);
    const auto *tpdu = std::get_if<Tpdu>(&decoded);
    if (!tpdu)
        return {"\"\",,", pdu.toHex().toUpper()};
    const QByteArray number = quoted(tpdu->number.toLatin1());
    const QByteArray text = textInCharacterSet(state.settings.characterSet, tpdu->text);
    return {number + ",," + (received ? timeText(tpdu->scts) : QByteArray()), text};
}

QByteArrayList messageLines(const ModemState &state, const QByteArray &prefix, const StoredMessage &message)
{
    if (state.settings.messageFormat == 0)
        return {prefix + QByteArray::number(static_cast<int>(message.status)) + ",," +
                    QByteArray::number(message.length),
                message.pdu.toHex().toUpper()};
    const TextForm form = textForm(state, message.pdu, isReceived(message.status));
    return {prefix + quoted(statusWord(message.status)) + ',' + form.header, form.text};
}
} // namespace

QByteArrayList listLines(const ModemState &state, int index, const StoredMessage &message)
{
    return messageLines(state, "+CMGL: " + QByteArray::number(index) + ',', message);
}

QByteArrayList readLines(const ModemState &state, const StoredMessage &message)
{
    return messageLines(state, "+CMGR: ", message);
}

QByteArrayList directMessageLines(const ModemState &state, const QByteArray &pdu)
{
    if (state.settings.messageFormat == 0)
        return {"+CMT: ," + QByteArray::number(tpduLength(pdu)), pdu.toHex().toUpper()};
    const TextForm form = textForm(state, pdu, true);
    return {"+CMT: " + form.header, form.text};
}

QByteArrayList directReportLines(const ModemState &, const QByteArray &pdu)
{
    return {"+CDS: " + QByteArray::number(tpduLength(pdu)), pdu.toHex().toUpper()};
}

std::optional<QString> textFromCharacterSet(const QByteArray &characterSet, const QByteArray &bytes)
{
    if (characterSet == "GSM")
        return textFromSeptets(bytes);
    if (characterSet == "IRA")
        return QString::fromLatin1(bytes);
    const QByteArray octets = QByteArray::fromHex(bytes);
    if (octets.toHex() != bytes.toLower() || octets.size() % 2 != 0)
        return std::nullopt;
    QString text;
    for (qsizetype i = 0; i < octets.size(); i += 2)
        text += QChar(static_cast<char16_t>(static_cast<unsigned char>(octets[i]) << 8 |
                                            static_cast<unsigned char>(octets[i + 1])));
    return text;
}

QByteArray statusWord(MessageStatus status)
{
    switch (status) {
    case MessageStatus::ReceivedUnread:
        return "REC UNREAD";
    case MessageStatus::ReceivedRead:
        return "REC READ";
    case MessageStatus::StoredUnsent:
        return "STO UNSENT";
    case MessageStatus::StoredSent:
        return "STO SENT";
    }
    Q_UNREACHABLE();
}
} // namespace simulator
