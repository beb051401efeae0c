#include "service/Metrics.h"

#include "platform/fault/Fault.h"
#include "platform/files/Files.h"

using namespace Qt::StringLiterals;

namespace
{

constexpr std::array passNames{"send", "archive", "expand", "alert", "collect"};

QByteArray head(const QByteArray &name, const char *type, const char *help)
{
    return "# HELP " + name + ' ' + help + "\n# TYPE " + name + ' ' + type + '\n';
}

QByteArray metric(const QByteArray &name, const char *type, const char *help, qint64 value)
{
    return head(name, type, help) + name + ' ' + QByteArray::number(value) + '\n';
}

QByteArray labelled(const QByteArray &name, const char *label, QByteArray of, const QByteArray &value)
{
    of.replace('\\', "\\\\").replace('"', "\\\"").replace('\n', "\\n");
    return name + '{' + label + "=\"" + of + "\"} " + value + '\n';
}

} // namespace

void Metrics::count(OperatorConsole::Event event, const QString &cause)
{
    ++m_counts[event];
    if (event == OperatorConsole::Event::Failed)
        ++m_failures[cause];
}

void Metrics::passEnded(Pass pass, const QDateTime &end, std::chrono::milliseconds length)
{
    m_passes[size_t(pass)] = {end, length};
}

void Metrics::write(const State &state) const
{
    const FileError error = replaceSynced(m_fileName, text(state), FileMode::figures, Sync::NotAwaited);
    if (error.isError())
        throw Fault(u"无法写入监控文件 %1：%2"_s.arg(m_fileName, error.text()));
}

QByteArray Metrics::text(const State &state) const
{
    using Event = OperatorConsole::Event;
    QByteArray all;
    const auto counter = [&](const char *name, const char *help, Event event) {
        all += metric(name, "counter", help, m_counts.value(event));
    };
    const auto gauge = [&](const char *name, const char *help, qint64 value) {
        all += metric(name, "gauge", help, value);
    };
    const auto gaugePerPass = [&](const char *name, const char *help, auto valueOf) {
        all += head(name, "gauge", help);
        for (size_t pass = 0; pass < passCount; ++pass) {
            if (m_passes[pass].end.isValid())
                all += labelled(name, "pass", passNames[pass], QByteArray::number(valueOf(m_passes[pass])));
        }
    };
    counter("sms_sent_total", "Messages that the network took.", Event::Sent);
    all += head("sms_failed_total", "counter", "Messages that were refused, by cause.");
    for (auto failure = m_failures.cbegin(); failure != m_failures.cend(); ++failure)
        all += labelled("sms_failed_total", "cause", failure.key().toUtf8(),
                        QByteArray::number(failure.value()));
    counter("sms_received_total", "Messages that came in and were handled.", Event::Received);
    counter("sms_alerts_total", "Alerts of new mail that were queued.", Event::Alerted);
    counter("sms_mails_collected_total", "External mails that were read from their servers.",
            Event::Collected);
    gauge("sms_queue_waiting", "Rows of SMS_Queues that wait to be sent.", state.waitingRows);
    gauge("sms_database_up", "1 while the database is connected.", state.isDatabaseUp);
    gauge("sms_modem_up", "1 while the modem answers on its port.", state.isModemUp);
    gauge("sms_modem_registered", "1 while the modem is registered with a network.", state.isRegistered);
    if (state.signalDbm)
        gauge("sms_modem_signal_dbm", "Strength of the modem's reception.", *state.signalDbm);
    gaugePerPass("sms_pass_last_end_timestamp_seconds", "When the last pass ended.",
                 [](const Ended &pass) { return pass.end.toSecsSinceEpoch(); });
    gaugePerPass("sms_pass_last_duration_seconds", "How long the last pass took.",
                 [](const Ended &pass) { return std::chrono::duration<double>(pass.length).count(); });
    return all;
}
