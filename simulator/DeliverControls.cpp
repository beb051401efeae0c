#include "simulator/ControlCommands.h"
#include "simulator/TpduEncoder.h"

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

/// deliver [--ref16] [--alphabet A] [--smsc N] [--time T] [--json] NUMBER TEXT
QString deliver(Modem &modem, int &lastReference, ControlWords &words, std::optional<QString> order,
                std::optional<int> messageClass)
{
    Delivery delivery;
    delivery.scts = QDateTime::currentDateTime();
    delivery.smsc = modem.state().serviceCentre;
    delivery.messageClass = messageClass;
    bool json = false;
    for (bool more = true; more;) {
        if (words.takeIf(u"--ref16"_s)) {
            delivery.wideReference = true;
        } else if (words.takeIf(u"--json"_s)) {
            json = true;
        } else if (words.takeIf(u"--smsc"_s)) {
            delivery.smsc = words.word(u"service centre"_s);
        } else if (words.takeIf(u"--reference"_s)) {
            lastReference = words.number(u"reference"_s, 0, 0xffff) - 1;
        } else if (words.takeIf(u"--class"_s)) {
            delivery.messageClass = words.number(u"class"_s, 0, 3);
        } else if (words.takeIf(u"--time"_s)) {
            delivery.scts = QDateTime::fromString(words.word(u"time"_s), Qt::ISODate);
            if (!delivery.scts.isValid())
                throw ControlError(u"the time must look like 2024-05-31T23:59:59+08:00"_s);
        } else if (words.takeIf(u"--alphabet"_s)) {
            const QString name = words.word(u"alphabet"_s);
            for (const Alphabet alphabet : {Alphabet::Gsm7, Alphabet::EightBit, Alphabet::Ucs2}) {
                if (name == alphabetName(alphabet))
                    delivery.alphabet = alphabet;
            }
            if (!delivery.alphabet)
                throw ControlError(u"the alphabet is gsm7, 8bit or ucs2"_s);
        } else {
            more = false;
        }
    }
    delivery.number = words.word(u"number"_s);
    if (order)
        order = words.word(u"order of the parts"_s);
    delivery.text = json ? jsonString(words.rest()) : words.rest();
    if (!isEncodableNumber(delivery.number))
        throw ControlError(u"\"%1\" is no sender: at most 20 digits or 11 letters"_s.arg(delivery.number));
    lastReference = (lastReference + 1) % (delivery.wideReference ? 0x10000 : 0x100);
    delivery.reference = lastReference;
    QList<QByteArray> parts = encodeDeliver(delivery);
    if (parts.isEmpty())
        throw ControlError(u"the text does not fit that alphabet or 255 parts"_s);
    if (order)
        parts = inOrder(parts, *order);
    return modem.deliveries().deliver(parts);
}
} // namespace

void addDeliverControls(ControlTable &controls, Modem &modem)
{
    // The concatenation reference of the last delivery, shared by the commands that deliver.
    const auto reference = std::make_shared<int>(0);
    controls.add(u"deliver"_s, u"[OPTIONS] NUMBER TEXT"_s,
                 u"an SMS arrives, in parts when long; NUMBER may be letters; OPTIONS: --ref16, --alphabet "
                 u"gsm7|8bit|ucs2, "
                 "--class 0..3, --time ISO, --smsc NUMBER, --reference N, --json (TEXT is a JSON string)"_s,
                 [&modem, reference](ControlWords &words) {
                     return deliver(modem, *reference, words, std::nullopt, std::nullopt);
                 });
    controls.add(u"deliver-parts"_s, u"[OPTIONS] NUMBER ORDER TEXT"_s,
                 u"only these parts arrive, in that order: deliver-parts +8613800138000 3,1,2 TEXT"_s,
                 [&modem, reference](ControlWords &words) {
                     return deliver(modem, *reference, words, QString(), std::nullopt);
                 });
    controls.add(u"deliver-flash"_s, u"[OPTIONS] NUMBER TEXT"_s, u"a class 0 SMS arrives"_s,
                 [&modem, reference](ControlWords &words) {
                     return deliver(modem, *reference, words, std::nullopt, 0);
                 });
    controls.add(
        u"deliver-tpdu"_s, u"HEX"_s, u"these octets arrive, service-centre address first, however wrong"_s,
        [&modem](ControlWords &words) { return modem.deliveries().deliver({words.octets(u"TPDU"_s)}); });
    controls.add(u"deliver-report"_s, u"NUMBER REFERENCE [STATUS]"_s,
                 u"a status report arrives for the message that was sent with that reference"_s,
                 [&modem](ControlWords &words) {
                     const QString number = words.word(u"number"_s);
                     const int reference = words.number(u"reference"_s, 0, 255);
                     const int status = words.isEmpty() ? 0 : words.number(u"status"_s, 0, 255);
                     if (!isEncodableNumber(number))
                         throw ControlError(u"\"%1\" is no number"_s.arg(number));
                     return modem.deliveries().deliver(
                         {encodeStatusReport(number, reference, status, QDateTime::currentDateTime(),
                                             modem.state().serviceCentre)});
                 });
    controls.add(u"drop-waiting"_s, {}, u"the network forgets what it could not deliver yet"_s,
                 [&modem](ControlWords &) {
                     modem.deliveries().dropWaiting();
                     return QString();
                 });
    controls.add(u"notify"_s, u"on|off"_s, u"off: received messages are stored without +CMTI"_s,
                 [&modem](ControlWords &words) {
                     modem.state().notifies = words.onOff();
                     return QString();
                 });
    controls.add(u"flash"_s, u"direct|store"_s,
                 u"class 0 comes as +CMT without a stored copy, or is stored"_s,
                 [&modem](ControlWords &words) {
                     const QString how = words.word(u"direct or store"_s);
                     if (how != u"direct" && how != u"store")
                         throw ControlError(u"direct or store expected"_s);
                     modem.state().flashDirect = how == u"direct";
                     return QString();
                 });
}
} // namespace simulator
