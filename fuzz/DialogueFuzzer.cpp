#include "fuzz/Require.h"
#include "modem/ModemControl.h"
#include "modem/line/SerialLine.h"

#include <QCoreApplication>

namespace
{

/// In place of a port: says the next piece of the input whenever it is written to, and is well-behaved where the
/// input has nothing to say. Silence is over at once.
class Script final : public SerialLine
{
public:
    static inline QByteArrayList answers;
    static inline QByteArray said;

    OpenResult open(const QString &, int) override
    {
        m_isOpen = true;
        return OpenResult::Opened;
    }
    void setBaud(int) override {}
    void close() override { m_isOpen = false; }
    bool isOpen() const override { return m_isOpen; }
    QString errorText() const override { return {}; }
    Wait write(QByteArrayView octets, const QDeadlineTimer &) override
    {
        QByteArray answer = answers.isEmpty() ? QByteArray() : answers.takeFirst();
        if (answer.isEmpty())
            answer = octets.indexOf("+CMGS=") >= 0 ? "\r\n> "
                     : octets.endsWith('\x1a')     ? "\r\n+CMGS: 1\r\n\r\nOK\r\n"
                                                   : "\r\nOK\r\n";
        said += answer;
        m_unread += answer;
        return Wait::Ready;
    }
    Wait waitForOctets(const QDeadlineTimer &) override
    {
        return m_unread.isEmpty() ? Wait::TimedOut : Wait::Ready;
    }
    QByteArray readAll() override { return std::exchange(m_unread, {}); }

private:
    bool m_isOpen = false;
    QByteArray m_unread;
};

/// Some questions are repeated until a time is over, however quick the answers.
ModemLimits tinyLimits()
{
    using namespace std::chrono_literals;
    ModemLimits limits;
    limits.sync = limits.resync = limits.reopenSync = limits.simBusy = 1ms;
    return limits;
}

} // namespace

std::unique_ptr<SerialLine> makeSerialLine()
{
    return std::make_unique<Script>();
}

/// Bring-up, a send and readings of the store against whatever a modem may say. The input is its answers, parted by
/// the octet 0xFF. A message is sent only when the modem gave a reference.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static int argc = 1;
    static char name[] = "DialogueFuzzer";
    static char *argv[] = {name, nullptr};
    static const QCoreApplication application(argc, argv);

    Script::answers = octetsOf(data, size).toByteArray().split('\xff');
    Script::said.clear();
    const SystemClock clock;
    ModemControl control(
        clock, [](int) { return QStringLiteral("script"); }, nullptr, tinyLimits());
    control.setPortNumber(1);
    control.setSpeed(115200);
    QObject::connect(&control, &ModemControl::messageArrived, [&control] {
        QString sender;
        QString text;
        QString time;
        require(control.read(sender, text, time) != 0 || time.isEmpty() || time.size() == 19);
        control.settle(MessageFate::Handled);
    });
    if (control.open() == 0) {
        try {
            const bool isSent = control.send(QStringLiteral("13800138000"), QStringLiteral("x")) == 0;
            // Without what a modem's noise puts between the letters.
            QByteArray letters = Script::said.toUpper();
            letters.replace('\0', "").replace('\x1b', "").replace('\x1a', "");
            require(!isSent || letters.contains("+CMGS:"));
        } catch (const ModemFault &) {
        }
        for (int i = 0; i < 5; ++i)
            QCoreApplication::processEvents();
    }
    return 0;
}
