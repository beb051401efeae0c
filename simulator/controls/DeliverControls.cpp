#include "simulator/controls/ControlCommands.h"
#include "simulator/tpdu/TpduEncoder.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <memory>

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
/// A JSON string, for texts with line ends or other control characters.
QString jsonString(const QString &json)
{
    const QJsonDocument document = QJsonDocument::fromJson(u"[%1]"_s.arg(json).toUtf8());
    if (document.array().size() != 1 || !document.array().at(0).isString())
        throw ControlError(u"a JSON string expected, not %1"_s.arg(json));
    return document.array().at(0).toString();
}

QList<QByteArray> inOrder(const QList<QByteArray> &parts, const QString &order)
{
    QList<QByteArray> result;
    for (const QString &item : order.split(u',')) {
        bool ok = false;
        const int number = item.toInt(&ok);
        if (!ok || number < 1 || number > parts.size())
            throw ControlError(u"there is no part \"%1\" of %2"_s.arg(item).arg(parts.size()));
        result += parts[number - 1];
    }
    return result;
}

/// What the options say, and the number.
struct Order {
    Delivery delivery;
    bool isJson = false;
};

Order readOrder(const ModemState &state, int &lastReference, ControlWords &words)
{
    Order order;
    Delivery &delivery = order.delivery;
    delivery.scts = QDateTime::currentDateTime();
    delivery.smsc = state.serviceCentre;
    while (true) {
        if (words.takeIf(u"--json"_s)) {
            order.isJson = true;
        } else if (words.takeIf(u"--reference"_s)) {
            lastReference = words.number(u"reference"_s, 0, 0xff) - 1;
        } else if (words.takeIf(u"--time"_s)) {
            delivery.scts = QDateTime::fromString(words.word(u"time"_s), Qt::ISODate);
            if (!delivery.scts.isValid())
                throw ControlError(u"the time must look like 2024-05-31T23:59:59+08:00"_s);
        } else {
            break;
        }
    }
    delivery.number = words.word(u"number"_s);
    if (!isEncodableNumber(delivery.number))
        throw ControlError(u"\"%1\" is no sender: at most 20 digits or 11 letters"_s.arg(delivery.number));
    return order;
}

enum class Parts { All, Chosen };

/// [OPTIONS] NUMBER [ORDER] TEXT
QString deliver(Modem &modem, int &lastReference, ControlWords &words, Parts wanted, bool isFlash)
{
    auto [delivery, isJson] = readOrder(modem.state(), lastReference, words);
    delivery.isFlash = isFlash;
    const QString order = wanted == Parts::Chosen ? words.word(u"order of the parts"_s) : QString();
    delivery.text = isJson ? jsonString(words.rest()) : words.rest();
    lastReference = (lastReference + 1) % 0x100;
    delivery.reference = lastReference;
    const QList<QByteArray> parts = encodeDeliver(delivery);
    if (parts.isEmpty())
        throw ControlError(u"the text does not fit 255 parts"_s);
    return modem.deliveries().deliver(order.isEmpty() ? parts : inOrder(parts, order));
}
} // namespace

void addDeliverControls(ControlTable &controls, Modem &modem)
{
    // The concatenation reference of the last delivery, shared by the commands that deliver.
    const auto reference = std::make_shared<int>(0);
    controls.add(
        u"deliver"_s, u"[OPTIONS] NUMBER TEXT"_s,
        u"an SMS arrives, in parts when long; NUMBER may be letters; OPTIONS: --time ISO, --reference N, "
        "--json (TEXT is a JSON string)"_s,
        [&modem, reference](ControlWords &words) {
            return deliver(modem, *reference, words, Parts::All, false);
        });
    controls.add(u"deliver-parts"_s, u"[OPTIONS] NUMBER ORDER TEXT"_s,
                 u"only these parts arrive, in that order: deliver-parts +8613800138000 3,1,2 TEXT"_s,
                 [&modem, reference](ControlWords &words) {
                     return deliver(modem, *reference, words, Parts::Chosen, false);
                 });
    controls.add(u"deliver-flash"_s, u"[OPTIONS] NUMBER TEXT"_s, u"a class 0 SMS arrives"_s,
                 [&modem, reference](ControlWords &words) {
                     return deliver(modem, *reference, words, Parts::All, true);
                 });
    controls.add(u"notify"_s, u"on|off"_s, u"off: received messages are stored without +CMTI"_s,
                 [&modem](ControlWords &words) { modem.state().notifies = words.onOff(); });
}
} // namespace simulator
