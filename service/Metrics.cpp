#include "service/Metrics.h"

#include "platform/fault/Fault.h"
#include "platform/files/Files.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace
{

constexpr std::array<const char *, ServiceState::passCount> passNames{"send",  "archive", "expand",
                                                                      "alert", "collect", "receive"};

/// The file's text as it grows. Every sample carries the server's name.
class Page
{
public:
    explicit Page(const QString &server) : m_server("{server=\"" + escaped(server.toUtf8())) {}

    void begin(const char *name, const char *type, const char *help)
    {
        m_name = name;
        m_text += "# HELP " + m_name + ' ' + help + "\n# TYPE " + m_name + ' ' + type + '\n';
    }
    void sample(const QByteArray &value) { m_text += m_name + m_server + "\"} " + value + '\n'; }
    void sample(const char *label, const QByteArray &of, const QByteArray &value)
    {
        m_text += m_name + m_server + "\"," + label + "=\"" + escaped(of) + "\"} " + value + '\n';
    }
    void counter(const char *name, const char *help, qint64 value)
    {
        begin(name, "counter", help);
        sample(QByteArray::number(value));
    }
    /// Of what is not known nothing is told.
    void gauge(const char *name, const char *help, std::optional<qint64> value)
    {
        if (!value)
            return;
        begin(name, "gauge", help);
        sample(QByteArray::number(*value));
    }
    [[nodiscard]] const QByteArray &text() const { return m_text; }

private:
    static QByteArray escaped(QByteArray of)
    {
        return of.replace('\\', "\\\\").replace('"', "\\\"").replace('\n', "\\n");
    }

    QByteArray m_server;
    QByteArray m_name;
    QByteArray m_text;
};

std::optional<qint64> seconds(const QDateTime &time)
{
    return time.isValid() ? std::optional(time.toSecsSinceEpoch()) : std::nullopt;
}

void tellPasses(Page &page, const ServiceState &state)
{
    const auto perPass = [&](const char *name, const char *type, const char *help, auto valueOf) {
        page.begin(name, type, help);
        for (size_t pass = 0; pass < passNames.size(); ++pass) {
            if (const auto value = valueOf(state.passes[pass]))
                page.sample("pass", passNames[pass], QByteArray::number(*value));
        }
    };
    using Pass = ServiceState::PassState;
    perPass("sms_pass_last_end_timestamp_seconds", "gauge", "When the last pass ended.",
            [](const Pass &pass) { return seconds(pass.lastEnd); });
    perPass("sms_pass_last_success_timestamp_seconds", "gauge",
            "When the last pass ended of which nothing failed.",
            [](const Pass &pass) { return seconds(pass.lastSuccess); });
    perPass("sms_pass_faults_total", "counter", "Faults of the pass or of anything in it.",
            [](const Pass &pass) { return std::optional(pass.faults); });
    perPass("sms_pass_held", "gauge", "1 while nothing of the pass has succeeded since its last fault.",
            [](const Pass &pass) { return std::optional(int(pass.isHeld())); });
    perPass("sms_pass_last_duration_seconds", "gauge", "How long the last pass took.", [](const Pass &pass) {
        return pass.lastEnd.isValid() ? std::optional(std::chrono::duration<double>(pass.length).count())
                                      : std::nullopt;
    });
}

void tellModem(Page &page, const ServiceState &state)
{
    page.gauge("sms_modem_up", "1 while the modem answers on its port.", state.modem.has_value());
    if (!state.modem)
        return;
    page.gauge("sms_modem_registered", "1 while the modem is registered with a network.",
               state.modem->isRegistered);
    page.gauge("sms_modem_signal_dbm", "Strength of the modem's reception.", state.modem->signalDbm);
    page.gauge("sms_modem_sim_ready", "1 while the SIM card answers and asks for no PIN.",
               state.modem->isSimReady);
    using Memory = ModemStatus::Memory;
    for (const auto &[name, help, value] :
         {std::tuple("sms_modem_store_messages", "Places of the modem's memory that hold a message.",
                     &Memory::used),
          std::tuple("sms_modem_store_places", "Places of the modem's memory.", &Memory::total)}) {
        page.begin(name, "gauge", help);
        for (const Memory &memory : state.modem->memories)
            page.sample("store", memory.name.toUtf8(), QByteArray::number(memory.*value));
    }
}

void tellQueue(Page &page, const ServiceState &state, const QDateTime &now)
{
    if (state.queue) {
        page.gauge("sms_queue_waiting", "Rows of SMS_Queues that wait to be sent.", state.queue->waiting);
        page.gauge("sms_oldest_waiting_seconds", "How long the oldest of them has been seen to wait.",
                   state.queue->waiting == 0 ? 0 : state.queue->oldestSince.secsTo(now));
    }
    page.gauge("sms_sending_rests_seconds", "How long a limit has held messages back; 0 when none does.",
               state.rest ? state.rest->since.secsTo(now) : 0);
}

} // namespace

void Metrics::count(OperatorConsole::Event event, const QString &cause)
{
    ++m_counts[event];
    if (event == OperatorConsole::Event::Failed)
        ++m_failures[cause];
}

void Metrics::write(const ServiceState &state, const QDateTime &now) const
{
    const FileError error = replaceSynced(m_fileName, text(state, now), FileMode::figures, Sync::NotAwaited);
    if (error.isError())
        throw Fault(u"无法写入监控文件 %1：%2"_s.arg(m_fileName, error.text()));
}

QByteArray Metrics::text(const ServiceState &state, const QDateTime &now) const
{
    using Event = OperatorConsole::Event;
    Page page(QFileInfo(m_fileName).completeBaseName());
    page.gauge("sms_written_timestamp_seconds", "When this file was written.", seconds(now));
    page.gauge("sms_started_timestamp_seconds", "When the program was started.", seconds(state.since));
    page.gauge("sms_running", "1 while the service runs, 0 while it is stopped or its start fails.",
               state.isRunning);
    page.counter("sms_sent_total", "Messages that the network took.", m_counts.value(Event::Sent));
    page.begin("sms_failed_total", "counter", "Messages that were refused, by cause.");
    for (auto failure = m_failures.cbegin(); failure != m_failures.cend(); ++failure)
        page.sample("cause", failure.key().toUtf8(), QByteArray::number(failure.value()));
    page.counter("sms_received_total", "Messages that came in and were handled.",
                 m_counts.value(Event::Received));
    page.counter("sms_alerts_total", "Alerts of new mail that were queued.", m_counts.value(Event::Alerted));
    page.counter("sms_mails_collected_total", "External mails that were read from their servers.",
                 m_counts.value(Event::Collected));
    tellQueue(page, state, now);
    page.gauge("sms_oldest_mailbox_seconds",
               "For how long an external mailbox could not be emptied, the longest; 0 when all are.",
               std::chrono::duration_cast<std::chrono::seconds>(state.oldestMailbox.age).count());
    page.gauge("sms_database_up", "1 while the database is connected.", state.isDatabaseUp);
    tellModem(page, state);
    tellPasses(page, state);
    page.gauge("sms_disk_free_bytes", "Room where the least is left for the server's own files.",
               state.diskFree);
    return page.text();
}
