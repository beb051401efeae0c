#include "simulator/ControlCommands.h"

#include "simulator/MessageText.h"
#include "simulator/TpduEncoder.h"

#include <QJsonArray>
#include <QJsonDocument>

using namespace Qt::StringLiterals;

namespace simulator
{
namespace
{
constexpr int kMaxCount = 1'000'000;

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

QString onOffText(bool on)
{
    return on ? u"on"_s : u"off"_s;
}
} // namespace

ControlCommands::ControlCommands(Modem &modem, std::function<void()> quit)
    : m_modem(modem), m_quit(std::move(quit))
{
    add(u"help"_s, {}, u"this list"_s, [this](ControlWords &) { return help(); });
    add(u"status"_s, {}, u"what the modem is doing, in one line"_s,
        [this](ControlWords &) { return status(); });
    addDeliverCommands();
    addSendCommands();
    addLineCommands();
    addStateCommands();
    addStorageCommands();
    add(u"quit"_s, {}, u"end the simulator"_s, [this](ControlWords &) {
        m_quit();
        return QString();
    });
}

void ControlCommands::add(const QString &name, const QString &usage, const QString &help, Handler run)
{
    m_commands += Command{name, usage, help, std::move(run)};
}

QString ControlCommands::run(const QString &line)
{
    ControlWords words(line);
    try {
        const QString name = words.word(u"a command"_s);
        for (const Command &command : m_commands) {
            if (command.name != name)
                continue;
            const QString answer = command.run(words);
            words.end();
            // A listing brings its own last line.
            return answer.isEmpty() ? u"ok"_s : answer.startsWith(u"  ") ? answer : u"ok "_s + answer;
        }
        return u"error no command \"%1\"; help lists them"_s.arg(name);
    } catch (const ControlError &error) {
        return u"error "_s + QString::fromUtf8(error.what());
    } catch (const std::runtime_error &error) {
        return u"error "_s + QString::fromUtf8(error.what());
    }
}

QString ControlCommands::help() const
{
    QString text;
    for (const Command &command : m_commands)
        text += u"  %1 %2\n        %3\n"_s.arg(command.name, command.usage, command.help);
    return text + u"ok %1 commands"_s.arg(m_commands.size());
}

QString ControlCommands::status()
{
    ModemState &state = m_modem.state();
    const MessageStore &sim = state.store(Memory::Sim);
    const MessageStore &equipment = state.store(Memory::Equipment);
    return u"line=%1 port=%2 hung=%3 registered=%4 pin=%5 sent=%6 refused=%7 latency=%8 baud=%9 "_s
               .arg(m_modem.line().isPlugged() ? u"plugged"_s : u"unplugged"_s,
                    m_modem.line().isOpenedByPeer() ? u"open"_s : u"closed"_s,
                    onOffText(m_modem.session().isHung()))
               .arg(state.registration)
               .arg(state.sim.isLocked() ? u"required"_s : u"ready"_s)
               .arg(m_modem.submits().accepted())
               .arg(m_modem.submits().refused())
               .arg(state.networkLatency.count())
               .arg(m_modem.line().baud()) +
           u"SM=%1/%2 ME=%3/%4 waiting=%5 planned=%6"_s.arg(sim.used())
               .arg(sim.capacity())
               .arg(equipment.used())
               .arg(equipment.capacity())
               .arg(m_modem.deliveries().waiting())
               .arg(state.sendScript.summary());
}

/// deliver [--ref16] [--alphabet A] [--smsc N] [--time T] [--json] NUMBER TEXT
QString ControlCommands::deliver(ControlWords &words, std::optional<QString> order,
                                 std::optional<int> messageClass)
{
    Delivery delivery;
    delivery.scts = QDateTime::currentDateTime();
    delivery.smsc = m_modem.state().serviceCentre;
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
            m_reference = words.number(u"reference"_s, 0, 0xffff) - 1;
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
    m_reference = (m_reference + 1) % (delivery.wideReference ? 0x10000 : 0x100);
    delivery.reference = m_reference;
    QList<QByteArray> parts = encodeDeliver(delivery);
    if (parts.isEmpty())
        throw ControlError(u"the text does not fit that alphabet or 255 parts"_s);
    if (order)
        parts = inOrder(parts, *order);
    return m_modem.deliveries().deliver(parts);
}

void ControlCommands::addDeliverCommands()
{
    add(u"deliver"_s, u"[OPTIONS] NUMBER TEXT"_s,
        u"an SMS arrives, in parts when long; NUMBER may be letters; OPTIONS: --ref16, --alphabet "
        u"gsm7|8bit|ucs2, "
        "--class 0..3, --time ISO, --smsc NUMBER, --reference N, --json (TEXT is a JSON string)"_s,
        [this](ControlWords &words) { return deliver(words, std::nullopt, std::nullopt); });
    add(u"deliver-parts"_s, u"[OPTIONS] NUMBER ORDER TEXT"_s,
        u"only these parts arrive, in that order: deliver-parts +8613800138000 3,1,2 TEXT"_s,
        [this](ControlWords &words) { return deliver(words, QString(), std::nullopt); });
    add(u"deliver-flash"_s, u"[OPTIONS] NUMBER TEXT"_s, u"a class 0 SMS arrives"_s,
        [this](ControlWords &words) { return deliver(words, std::nullopt, 0); });
    add(u"deliver-tpdu"_s, u"HEX"_s, u"these octets arrive, service-centre address first, however wrong"_s,
        [this](ControlWords &words) { return m_modem.deliveries().deliver({words.octets(u"TPDU"_s)}); });
    add(u"deliver-report"_s, u"NUMBER REFERENCE [STATUS]"_s,
        u"a status report arrives for the message that was sent with that reference"_s,
        [this](ControlWords &words) {
            const QString number = words.word(u"number"_s);
            const int reference = words.number(u"reference"_s, 0, 255);
            const int status = words.isEmpty() ? 0 : words.number(u"status"_s, 0, 255);
            if (!isEncodableNumber(number))
                throw ControlError(u"\"%1\" is no number"_s.arg(number));
            return m_modem.deliveries().deliver({encodeStatusReport(
                number, reference, status, QDateTime::currentDateTime(), m_modem.state().serviceCentre)});
        });
    add(u"drop-waiting"_s, {}, u"the network forgets what it could not deliver yet"_s,
        [this](ControlWords &) {
            m_modem.deliveries().dropWaiting();
            return QString();
        });
    add(u"notify"_s, u"on|off"_s, u"off: received messages are stored without +CMTI"_s,
        [this](ControlWords &words) {
            m_modem.state().notifies = words.onOff();
            return QString();
        });
    add(u"flash"_s, u"direct|store"_s, u"class 0 comes as +CMT without a stored copy, or is stored"_s,
        [this](ControlWords &words) {
            const QString how = words.word(u"direct or store"_s);
            if (how != u"direct" && how != u"store")
                throw ControlError(u"direct or store expected"_s);
            m_modem.state().flashDirect = how == u"direct";
            return QString();
        });
}

void ControlCommands::addSendCommands()
{
    const auto plan = [this](SendFate::Kind kind) {
        return [this, kind](ControlWords &words) {
            SendFate fate{.kind = kind};
            const int count = words.number(u"count"_s, 1, kMaxCount);
            if (kind == SendFate::Kind::Refuse)
                fate.code = words.number(u"+CMS ERROR code"_s, 0, 999);
            if (kind == SendFate::Kind::Late || kind == SendFate::Kind::Slow)
                fate.duration = words.milliseconds(u"milliseconds"_s);
            if (kind == SendFate::Kind::Mute)
                fate.duration = words.optionalMilliseconds(u"milliseconds"_s).value_or(fate.duration);
            m_modem.state().sendScript.add(count, fate);
            return m_modem.state().sendScript.summary();
        };
    };
    add(u"sent"_s, {}, u"how many TPDUs were accepted so far"_s,
        [this](ControlWords &) { return QString::number(m_modem.submits().accepted()); });
    add(u"latency"_s, u"MS"_s, u"network time from a TPDU to its result"_s, [this](ControlWords &words) {
        m_modem.state().networkLatency = words.milliseconds(u"milliseconds"_s);
        return QString();
    });
    add(u"accept"_s, u"N"_s, u"plan: the next N sends succeed (plans follow each other)"_s,
        plan(SendFate::Kind::Accept));
    add(u"refuse"_s, u"N CODE"_s, u"plan: the next N sends get +CMS ERROR: CODE"_s,
        plan(SendFate::Kind::Refuse));
    add(u"refuse-number"_s, u"NUMBER CODE"_s, u"every send to NUMBER gets that code, until code 0"_s,
        [this](ControlWords &words) {
            const QString number = words.word(u"number"_s);
            m_modem.state().sendScript.refuseNumber(number, words.number(u"+CMS ERROR code"_s, 0, 999));
            return m_modem.state().sendScript.summary();
        });
    add(u"bare-ok"_s, u"N"_s, u"plan: the next N sends are refused with a mere OK, without +CMGS"_s,
        plan(SendFate::Kind::BareOk));
    add(u"mute"_s, u"N [MS]"_s,
        u"plan: the next N sends are accepted without any result; the modem ignores input for MS, then takes commands"_s,
        plan(SendFate::Kind::Mute));
    add(u"late"_s, u"N MS"_s,
        u"plan: the results of the next N sends come MS late; new input is answered meanwhile"_s,
        plan(SendFate::Kind::Late));
    add(u"slow"_s, u"N MS"_s,
        u"plan: the results of the next N sends come MS late; new input waits for them"_s,
        plan(SendFate::Kind::Slow));
    add(u"mute-prompt"_s, u"N"_s, u"the next N send commands get no prompt"_s, [this](ControlWords &words) {
        m_modem.state().sendScript.mutePrompts(words.number(u"count"_s, 0, kMaxCount));
        return QString();
    });
    add(u"no-plan"_s, {}, u"forget every plan for coming sends"_s, [this](ControlWords &) {
        m_modem.state().sendScript.clear();
        return QString();
    });
}

void ControlCommands::addLineCommands()
{
    add(u"unplug"_s, u"[MS]"_s, u"hang up the line; plug in again after MS"_s, [this](ControlWords &words) {
        const auto replug = words.optionalMilliseconds(u"milliseconds"_s);
        m_modem.line().unplug();
        if (replug)
            m_modem.line().replugAfter(*replug);
        return QString();
    });
    add(u"plug"_s, {}, u"plug in again, as a modem that was just switched on"_s, [this](ControlWords &) {
        m_modem.line().plug();
        return QString();
    });
    add(u"unplug-after"_s, u"OCTETS [MS]"_s,
        u"hang up when so many more octets have crossed the line, both directions together; plug in after MS"_s,
        [this](ControlWords &words) {
            const int octets = words.number(u"octets"_s, 0, kMaxCount);
            m_modem.line().unplugAfter(octets, words.optionalMilliseconds(u"milliseconds"_s));
            return QString();
        });
    add(u"hang"_s, {}, u"answer nothing at all until resume"_s, [this](ControlWords &) {
        m_modem.session().setHung(true);
        return QString();
    });
    add(u"resume"_s, {}, u"answer again; what came meanwhile is lost"_s, [this](ControlWords &) {
        m_modem.session().setHung(false);
        return QString();
    });
    add(u"baud"_s, u"N"_s, u"line speed; 0 is as fast as it goes"_s, [this](ControlWords &words) {
        m_modem.line().setBaud(words.number(u"baud"_s, 0, 10'000'000));
        return QString();
    });
    add(u"command-latency"_s, u"MS [COMMAND]"_s,
        u"time before each answer, or before that command's (as +CPMS)"_s, [this](ControlWords &words) {
            const auto latency = words.milliseconds(u"milliseconds"_s);
            const QByteArray name = words.isEmpty() ? "*" : words.word(u"command"_s).toUpper().toLatin1();
            m_modem.state().commandLatency.insert(name, latency);
            return QString();
        });
    add(u"wake"_s, u"MS"_s, u"a modem that was plugged in answers nothing for so long"_s,
        [this](ControlWords &words) {
            m_modem.setWakeTime(words.milliseconds(u"milliseconds"_s));
            return QString();
        });
    add(u"prompt"_s, u"usual|bare|line"_s, u"the prompt is CR LF > blank, a mere >, or a line of its own"_s,
        [this](ControlWords &words) {
            const QString style = words.word(u"prompt style"_s);
            if (style == u"usual")
                m_modem.session().setPromptStyle(PromptStyle::Usual);
            else if (style == u"bare")
                m_modem.session().setPromptStyle(PromptStyle::Bare);
            else if (style == u"line")
                m_modem.session().setPromptStyle(PromptStyle::Line);
            else
                throw ControlError(u"usual, bare or line expected"_s);
            return QString();
        });
    add(u"urc"_s, u"TEXT"_s, u"write an unsolicited line now"_s, [this](ControlWords &words) {
        m_modem.session().sendUnsolicited({words.rest().toUtf8()});
        return QString();
    });
    add(u"urc-mid"_s, u"TEXT"_s, u"write it between the next command line and its answer"_s,
        [this](ControlWords &words) {
            m_modem.session().sendUnsolicitedInNextCommand(words.rest().toUtf8());
            return QString();
        });
    add(u"urc-mid-send"_s, u"TEXT"_s, u"write it between the next TPDU and its result"_s,
        [this](ControlWords &words) {
            m_modem.state().unsolicitedInNextSend += words.rest().toUtf8();
            return QString();
        });
}

void ControlCommands::addStateCommands()
{
    add(u"registered"_s, u"0|1|2|3|4|5"_s, u"network registration: 1 home, 5 roaming, else none"_s,
        [this](ControlWords &words) {
            m_modem.setRegistration(words.number(u"registration"_s, 0, 5));
            return QString();
        });
    add(u"signal"_s, u"0..31|99"_s, u"signal quality of AT+CSQ"_s, [this](ControlWords &words) {
        m_modem.state().signalQuality = words.number(u"signal"_s, 0, 99);
        return QString();
    });
    add(u"pin"_s, u"required [PIN]|ready"_s,
        u"the SIM wants a PIN (1234) or is ready; kept when plugged again"_s, [this](ControlWords &words) {
            const QString wanted = words.word(u"required or ready"_s);
            if (wanted != u"required" && wanted != u"ready")
                throw ControlError(u"required or ready expected"_s);
            const bool required = wanted == u"required";
            m_modem.setLocked(required,
                              required && !words.isEmpty() ? words.word(u"PIN"_s).toLatin1() : QByteArray());
            return QString();
        });
    add(u"sim"_s, u"busy N"_s, u"the next N commands that need the SIM are refused as busy"_s,
        [this](ControlWords &words) {
            if (!words.takeIf(u"busy"_s))
                throw ControlError(u"busy expected"_s);
            m_modem.state().sim.busyCommands = words.number(u"count"_s, 0, kMaxCount);
            return QString();
        });
    add(u"smsc"_s, u"NUMBER"_s, u"service-centre number on the SIM"_s, [this](ControlWords &words) {
        m_modem.state().serviceCentre = words.word(u"number"_s);
        return QString();
    });
    add(u"echo"_s, u"on|off"_s, u"whether commands are echoed after the next start"_s,
        [this](ControlWords &words) {
            m_modem.state().echoAtStart = words.onOff();
            return QString();
        });
    add(u"cnmi"_s, u"RANGES"_s, u"what AT+CNMI takes, as its test form: (0-2),(0,1),(0,2),(0,1),(0,1)"_s,
        [this](ControlWords &words) {
            const auto ranges = NotificationRanges::fromText(words.word(u"ranges"_s).toLatin1());
            if (!ranges)
                throw ControlError(u"five lists as (0-2),(0,1),(0,2),(0,1),(0,1) expected"_s);
            m_modem.state().notificationRanges = *ranges;
            return QString();
        });
}

void ControlCommands::addStorageCommands()
{
    add(u"storage"_s, u"list|clear"_s, u"show or empty what is stored in SM and ME"_s,
        [this](ControlWords &words) {
            if (words.takeIf(u"list"_s))
                return listStorage();
            if (!words.takeIf(u"clear"_s))
                throw ControlError(u"list or clear expected"_s);
            for (const Memory memory : {Memory::Sim, Memory::Equipment})
                m_modem.state().store(memory).clear();
            m_modem.deliveries().retrySoon();
            return QString();
        });
    add(u"storage-size"_s, u"N [SM|ME]"_s, u"places in the stores"_s, [this](ControlWords &words) {
        const int size = words.number(u"places"_s, 0, kMaxCount);
        const std::optional<Memory> only =
            words.isEmpty() ? std::nullopt : memoryFromName(words.word(u"memory"_s).toLatin1());
        for (const Memory memory : {Memory::Sim, Memory::Equipment}) {
            if (!only || *only == memory)
                m_modem.state().store(memory).setCapacity(size);
        }
        m_modem.deliveries().retrySoon();
        return QString();
    });
    add(u"receive-into"_s, u"SM|ME|selected"_s, u"where messages are stored, whatever AT+CPMS selected"_s,
        [this](ControlWords &words) {
            const QString name = words.word(u"memory"_s);
            m_modem.state().receivingMemory = memoryFromName(name.toLatin1());
            if (!m_modem.state().receivingMemory && name != u"selected")
                throw ControlError(u"SM, ME or selected expected"_s);
            return QString();
        });
    add(u"memories"_s, u"1|2|3"_s, u"how many memories AT+CPMS takes"_s, [this](ControlWords &words) {
        m_modem.state().maxMemories = words.number(u"memories"_s, 1, 3);
        return QString();
    });
    add(u"store-draft"_s, u"TEXT"_s, u"put an unsent message into SM"_s, [this](ControlWords &words) {
        const QString text = words.rest();
        std::optional<QByteArray> pdu = encodeSubmit(u"10086"_s, text, 0, 0);
        if (!pdu)
            pdu = encodeSubmit(u"10086"_s, text, 0, 8);
        if (!pdu)
            throw ControlError(u"a draft has one part"_s);
        const auto index = m_modem.state().store(Memory::Sim).add(MessageStatus::StoredUnsent, *pdu);
        if (!index)
            throw ControlError(u"storage full"_s);
        return u"SM,%1"_s.arg(*index);
    });
    add(u"store-tpdu"_s, u"HEX"_s, u"put these octets into SM as an unread message, without notification"_s,
        [this](ControlWords &words) {
            const auto index = m_modem.state()
                                   .store(Memory::Sim)
                                   .add(MessageStatus::ReceivedUnread, words.octets(u"TPDU"_s));
            if (!index)
                throw ControlError(u"storage full"_s);
            return u"SM,%1"_s.arg(*index);
        });
}

QString ControlCommands::listStorage()
{
    QString text;
    int count = 0;
    for (const Memory memory : {Memory::Sim, Memory::Equipment}) {
        for (const auto &[index, message] : m_modem.state().store(memory).messages()) {
            const bool received = message.status == MessageStatus::ReceivedUnread ||
                                  message.status == MessageStatus::ReceivedRead;
            const auto decoded =
                decodeTpdu(message.pdu, received ? Direction::ToModem : Direction::FromModem);
            QString content;
            if (const auto *tpdu = std::get_if<Tpdu>(&decoded)) {
                const auto part = tpdu->concatenation;
                content = tpdu->number +
                          (part ? u" (%1/%2)"_s.arg(part->sequence).arg(part->total) : QString()) + u": "_s +
                          tpdu->text;
                content.replace(u'\n', u' ').replace(u'\r', u' ');
            } else {
                content = std::get<TpduError>(decoded).reason;
            }
            text += u"  %1,%2 %3 %4\n"_s.arg(QString::fromLatin1(memoryName(memory)))
                        .arg(index)
                        .arg(QString::fromLatin1(statusWord(message.status)), content);
            ++count;
        }
    }
    return count == 0 ? u"0 messages"_s : text + u"ok %1 messages"_s.arg(count);
}
} // namespace simulator
