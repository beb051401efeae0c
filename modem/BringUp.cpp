#include "modem/BringUp.h"

#include "modem/MessageStore.h"
#include "modem/Registration.h"
#include "modem/SimState.h"
#include "modem/line/AnswerFields.h"
#include "modem/line/AtChannel.h"

using namespace Qt::StringLiterals;

namespace
{

class BringUp
{
public:
    BringUp(AtChannel &channel, MessageStore &store, const ModemLimits &limits)
        : m_channel(channel), m_store(store), m_limits(limits)
    {
    }

    BringUpReport run(const QString &serviceCentre, std::chrono::milliseconds syncLimit)
    {
        if (!m_channel.resynchronise(syncLimit)) {
            refuse(ModemResult::ModemSilent, u"短信猫没有应答"_s);
            return m_report;
        }
        m_channel.forgetEcho();
        optional("ATE0");
        m_channel.forgetEcho(); // of that command itself
        optional("AT+CMEE=1");
        // Some modems keep the number of the centre in the character set that was last used.
        optional("AT+CSCS=\"GSM\"");
        const bool isReady = waitForSim() && setPduMode() && setServiceCentre(serviceCentre) && findStore();
        if (m_report.result != ModemResult::Ok)
            return m_report;
        if (isReady) {
            setNotifications();
            optional("AT+CMMS=2"); // keeps the radio link between the messages of a pass
            m_channel.watchEcho();
            m_report.iccid = askIccid(m_channel, m_limits);
            noteWorkarounds();
            findNetwork();
        }
        if (!isReady || !m_channel.isLineOpen())
            refuse(ModemResult::PortFailed, u"短信猫在初始化时断开"_s);
        return m_report;
    }

private:
    AtAnswer ask(const QByteArray &command, const QByteArray &prefix = {})
    {
        return m_channel.exchange(command, prefix, m_limits.command);
    }

    /// A command that a modem may not know.
    void optional(const QByteArray &command) { static_cast<void>(ask(command)); }

    bool refuse(ModemResult result, const QString &cause)
    {
        m_report.result = result;
        m_report.cause = cause;
        return false;
    }

    /// Asks again as long as the SIM or the modem is still starting up.
    AtAnswer askPatiently(const QByteArray &command, const QByteArray &prefix = {})
    {
        while (true) {
            AtAnswer answer = ask(command, prefix);
            const bool isBusy = answer.end == AtAnswer::End::Final && saysTryLater(answer.result);
            if (!isBusy || m_simDeadline.hasExpired())
                return answer;
            m_channel.listen(m_limits.simRetry);
        }
    }

    /// For what messages depend on: a refusal counts only when it is given again by a modem that is in step,
    /// since the first may have been meant for a command of an earlier session.
    AtAnswer insist(const QByteArray &command)
    {
        AtAnswer answer = askPatiently(command);
        if (!answer.isOk() && !answer.isLost() && m_channel.resynchronise(m_limits.resync))
            answer = askPatiently(command);
        return answer;
    }

    bool waitForSim()
    {
        m_simDeadline.setRemainingTime(m_limits.simBusy);
        const AtAnswer answer = askPatiently("AT+CPIN?", "+CPIN:");
        if (answer.isLost())
            return false;
        const SimState sim = simState(answer);
        return sim.result == ModemResult::Ok || refuse(sim.result, sim.cause);
    }

    bool setPduMode()
    {
        const AtAnswer answer = insist("AT+CMGF=0");
        if (answer.isOk() || answer.isLost())
            return answer.isOk();
        return refuse(ModemResult::PduModeRefused, u"短信猫不支持 PDU 模式短信"_s);
    }

    bool findStore()
    {
        static_cast<void>(
            askPatiently("AT+CPMS?", "+CPMS:")); // SMS of a SIM are readable later than the SIM is ready
        return m_store.initialise();
    }

    bool setServiceCentre(const QString &number)
    {
        if (number.isEmpty())
            return true;
        const QByteArray type = number.startsWith(u'+') ? "145" : "129";
        const AtAnswer answer = insist("AT+CSCA=\"" + number.toLatin1() + "\"," + type);
        if (answer.isOk() || answer.isLost())
            return answer.isOk();
        const QString words =
            answer.end == AtAnswer::End::Final ? QString::fromLatin1(describe(answer.result)) : u"没有应答"_s;
        const AtAnswer own = ask("AT+CSCA?", "+CSCA:");
        const bool hasNone = !own.lines.isEmpty() && own.fields().first().text.isEmpty();
        if (hasNone)
            return refuse(ModemResult::ServiceCentreRefused,
                          u"短信猫不接受短信中心号码 %1（%2），SIM 卡中也没有"_s.arg(number, words));
        m_report.remarks += u"短信猫不接受短信中心号码 %1（%2），使用 SIM 卡中的号码"_s.arg(number, words);
        return !own.isLost();
    }

    /// Stored and told is wanted: +CNMI 2,1,0,0,0. Otherwise what comes nearest among what the modem offers;
    /// a modem that only stores is read every minute anyway.
    void setNotifications()
    {
        m_report.notificationCommand = usualNotification;
        if (ask(m_report.notificationCommand).isOk())
            return;
        m_report.notificationCommand.clear();
        const AtAnswer offer = ask("AT+CNMI=?", "+CNMI:");
        if (!offer.isOk() || offer.lines.isEmpty())
            return;
        // In the order of preference; the first that is offered is taken (3GPP TS 27.005, 3.4.1).
        static const QList<QList<int>> wishes{{2, 3, 1, 0}, {1, 3, 0, 2}, {0}, {0}, {0, 1}};
        const QList<AnswerField> offered = offer.fields();
        QByteArray value;
        for (qsizetype i = 0; i < offered.size() && i < wishes.size(); ++i) {
            const QList<int> numbers = listedNumbers(offered[i].text);
            int chosen = numbers.isEmpty() ? 0 : numbers.first();
            for (const int wish : wishes[i]) {
                if (numbers.contains(wish)) {
                    chosen = wish;
                    break;
                }
            }
            value += (value.isEmpty() ? "" : ",") + QByteArray::number(chosen);
        }
        if (ask("AT+CNMI=" + value).isOk())
            m_report.notificationCommand = "AT+CNMI=" + value;
    }

    /// Sticks on LTE alone send nothing until they are told to by packets (3GPP TS 27.007, 10.1.21).
    void findNetwork()
    {
        const auto isCircuit = isRegistered(m_channel, m_limits, {"+CREG"});
        const auto isPacket =
            isCircuit == true ? isCircuit : isRegistered(m_channel, m_limits, {"+CGREG", "+CEREG"});
        m_report.isRegistered = isPacket.value_or(isCircuit.value_or(true));
        if (isPacket == true && isCircuit != true && ask("AT+CGSMS=2").isOk())
            m_report.remarks += u"只有 4G 分组网络，短信走分组域"_s;
    }

    void noteWorkarounds()
    {
        if (m_report.notificationCommand.isEmpty())
            m_report.remarks += u"不支持新短信通知，每分钟读取一次"_s;
        else if (m_report.notificationCommand != usualNotification)
            m_report.remarks += u"新短信通知方式："_s + QString::fromLatin1(m_report.notificationCommand);
        if (m_store.selectionSize() != 3)
            m_report.remarks += u"+CPMS 只接受 %1 个存储器"_s.arg(m_store.selectionSize());
    }

    static constexpr auto usualNotification = "AT+CNMI=2,1,0,0,0";

    AtChannel &m_channel;
    MessageStore &m_store;
    ModemLimits m_limits;
    QDeadlineTimer m_simDeadline;
    BringUpReport m_report;
};

} // namespace

BringUpReport bringUp(AtChannel &channel, MessageStore &store, const ModemLimits &limits,
                      const QString &serviceCentre, std::chrono::milliseconds syncLimit)
{
    return BringUp(channel, store, limits).run(serviceCentre, syncLimit);
}
