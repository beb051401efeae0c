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
    all +=
        metric("sms_sent_total", "counter", "Messages that the network took.", m_counts.value(Event::Sent));
    const QByteArray failed = "sms_failed_total";
    all += head(failed, "counter", "Messages that were refused, by cause.");
    for (auto failure = m_failures.cbegin(); failure != m_failures.cend(); ++failure)
        all += labelled(failed, "cause", failure.key().toUtf8(), QByteArray::number(failure.value()));
    all += metric("sms_received_total", "counter", "Messages that came in and were handled.",
                  m_counts.value(Event::Received));
    all += metric("sms_alerts_total", "counter", "Alerts of new mail that were queued.",
                  m_counts.value(Event::Alerted));
    all += metric("sms_mails_collected_total", "counter", "External mails that were read from their servers.",
                  m_counts.value(Event::Collected));
    all +=
        metric("sms_queue_waiting", "gauge", "Rows of SMS_Queues that wait to be sent.", state.waitingRows);
    all += metric("sms_database_up", "gauge", "1 while the database is connected.", state.isDatabaseUp);
    all += metric("sms_modem_up", "gauge", "1 while the modem answers on its port.", state.isModemUp);
    all += metric("sms_modem_registered", "gauge", "1 while the modem is registered with a network.",
                  state.isRegistered);
    if (state.signalDbm)
        all +=
            metric("sms_modem_signal_dbm", "gauge", "Strength of the modem's reception.", *state.signalDbm);
    const QByteArray end = "sms_pass_last_end_timestamp_seconds";
    all += head(end, "gauge", "When the last pass ended.");
    for (size_t pass = 0; pass < passCount; ++pass) {
        if (m_passes[pass].end.isValid())
            all += labelled(end, "pass", passNames[pass],
                            QByteArray::number(m_passes[pass].end.toSecsSinceEpoch()));
    }
    const QByteArray length = "sms_pass_last_duration_seconds";
    all += head(length, "gauge", "How long the last pass took.");
    for (size_t pass = 0; pass < passCount; ++pass) {
        if (m_passes[pass].end.isValid())
            all += labelled(length, "pass", passNames[pass],
                            QByteArray::number(std::chrono::duration<double>(m_passes[pass].length).count()));
    }
    return all;
}
