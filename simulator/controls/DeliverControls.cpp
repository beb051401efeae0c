#include "simulator/controls/Controls.h"
#include "simulator/tpdu/TpduEncoder.h"

#include <QJsonArray>
#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
/// A JSON string, for texts with line ends or other control characters.
QString jsonString(const QString &json)
{
    const QJsonArray array = QJsonDocument::fromJson(u"[%1]"_s.arg(json).toUtf8()).array();
    if (array.size() != 1 || !array.at(0).isString())
        throw ControlError(u"a JSON string expected, not %1"_s.arg(json));
    return array.at(0).toString();
}

QList<QByteArray> inOrder(const QList<QByteArray> &parts, const QString &order)
{
    QList<QByteArray> result;
    for (const QString &item : order.split(u',')) {
        const int number = item.toInt();
        if (number < 1 || number > parts.size())
            throw ControlError(u"there is no part \"%1\" of %2"_s.arg(item).arg(parts.size()));
        result += parts[number - 1];
    }
    return result;
}

/// [OPTIONS] NUMBER [ORDER] TEXT
void deliver(Modem &modem, ControlWords &words, bool hasOrder, bool isFlash)
{
    ModemState &state = modem.state();
    Delivery delivery{.number = {},
                      .text = {},
                      .scts = QDateTime::currentDateTime(),
                      .smsc = state.serviceCentre,
                      .isFlash = isFlash};
    const bool isJson = words.takeIf(u"--json"_s);
    if (words.takeIf(u"--reference"_s))
        state.concatenationReference = words.number(0, 0xff) - 1;
    if (words.takeIf(u"--time"_s))
        delivery.scts = QDateTime::fromString(words.word(u"a time"_s), Qt::ISODate);
    if (!delivery.scts.isValid())
        throw ControlError(u"the time must look like 2024-05-31T23:59:59+08:00"_s);
    delivery.number = words.word(u"a number"_s);
    if (!isEncodableNumber(delivery.number))
        throw ControlError(u"\"%1\" is no sender: at most 20 digits or 11 letters"_s.arg(delivery.number));
    const QString order = hasOrder ? words.word(u"an order of the parts"_s) : QString();
    delivery.text = isJson ? jsonString(words.rest()) : words.rest();
    delivery.reference = state.concatenationReference = (state.concatenationReference + 1) % 0x100;
    const QList<QByteArray> parts = encodeDeliver(delivery);
    if (parts.isEmpty())
        throw ControlError(u"the text does not fit 255 parts"_s);
    words.answer(modem.network().deliver(hasOrder ? inOrder(parts, order) : parts));
}
} // namespace

QList<Control> deliverControls()
{
    return {
        {u"deliver [OPTIONS] NUMBER TEXT"_s,
         u"an SMS arrives, in parts when long; NUMBER may be letters; OPTIONS: --json (TEXT is a JSON "
         u"string), "
         "--reference N, --time ISO"_s,
         [](Modem &modem, ControlWords &words) { deliver(modem, words, false, false); }},
        {u"deliver-parts [OPTIONS] NUMBER ORDER TEXT"_s,
         u"only these parts arrive, in that order: deliver-parts +8613800138000 3,1,2 TEXT"_s,
         [](Modem &modem, ControlWords &words) { deliver(modem, words, true, false); }},
        {u"deliver-flash [OPTIONS] NUMBER TEXT"_s, u"a class 0 SMS arrives"_s,
         [](Modem &modem, ControlWords &words) { deliver(modem, words, false, true); }},
        {u"notify on|off"_s, u"off: received messages are stored without +CMTI"_s,
         [](Modem &modem, ControlWords &words) { modem.state().notifies = words.onOff(); }},
        {u"direct-copy on|off"_s, u"on: a message that comes as +CMT is stored, too"_s,
         [](Modem &modem, ControlWords &words) { modem.state().copiesDirect = words.onOff(); }},
    };
}
} // namespace simulator
