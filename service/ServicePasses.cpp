#include "service/ServicePasses.h"

#include "database/Recordset.h"

#include <QStorageInfo>

using namespace Qt::StringLiterals;

namespace
{

/// Marks of the queue's age that are kept: of a queue that grows for days the oldest row alone matters.
constexpr qsizetype mostMarks = 1000;

qint64 leastRoom(const QStringList &folders)
{
    qint64 least = std::numeric_limits<qint64>::max();
    for (const QString &folder : folders) {
        if (const QStorageInfo disk(folder); disk.isValid())
            least = qMin(least, disk.bytesAvailable());
    }
    return least;
}

} // namespace

ServicePasses::ServicePasses(const ServerParts &parts, OperatorConsole &console)
    : m_parts(parts),
      m_faults(console),
      m_guard(parts.session, console, m_faults),
      m_limits(parts.clock, console, parts.sendLedgerFile),
      m_inHand(parts.inHandFile),
      m_sender(parts.session, console, m_faults, parts.clock, parts.modem, m_limits, m_inHand),
      m_archiver(parts.session, console, m_faults, parts.clock),
      m_expander(parts.session, console, m_faults, parts.clock),
      m_alerts(parts.session, console, m_faults),
      m_collector(parts.collector, parts.session, console, m_faults, m_guard, parts.clock),
      m_inbound(parts.session, console, m_faults, m_guard, parts.clock, parts.modem, parts.messageFiles)
{
    m_faults.setListener(
        [this](const QString &task, const std::optional<QString> &cause) { noteTask(task, cause); });
    openInHand();
    QObject::connect(&parts.modem, &ModemControl::messageArrived, &m_nextTurn,
                     [this] { m_inbound.messageArrived(); });
    parts.modem.setRestTest([this](const QString &sender, const QString &time, const QStringList &fragments) {
        return m_inbound.isRest(sender, time, fragments);
    });
    parts.modem.setWhileSending([this] { keepSession(); });
    m_signsOfLife.callOnTimeout([this] { keepSession(); });
    m_nextTurn.setSingleShot(true);
    m_nextTurn.setTimerType(Qt::PreciseTimer);
    m_nextTurn.callOnTimeout([this] { sendOn(); });
}

ServicePasses::~ServicePasses()
{
    m_faults.setListener({}); // the collector ends with a word to it
    m_parts.modem.setRestTest({});
    m_parts.modem.setHandOver({});
    m_parts.modem.setWhileSending({});
}

void ServicePasses::openInHand()
{
    m_parts.modem.setHandOver(
        {[this](const HandOver::Part &part) {
             m_limits.count();
             m_inHand.handingOver(part);
         },
         [this](const HandOver::Part &part, bool isAccepted) { m_inHand.handedOver(part, isAccepted); }});
    m_guard.run(u"在途短信记录"_s, [this] { m_inHand.read(); });
    m_parts.modem.expectLateResult(m_inHand.isInDoubt());
}

void ServicePasses::run(ServiceState::Pass pass, const QString &lockName, const std::function<void()> &work)
{
    QElapsedTimer length;
    length.start();
    m_isStruck[size_t(pass)] = false;
    m_pass = pass;
    m_guard.runPass(passName(pass), [&] {
        if (!hasPlace())
            return;
        const bool isLocked = m_settings.areServersSeveral && !lockName.isEmpty();
        const PassLock lock(m_parts.session.Conn(), isLocked, lockName);
        if (lock.isOurs())
            work();
    });
    m_pass.reset();
    noteEnd(pass, length);
}

void ServicePasses::noteEnd(ServiceState::Pass pass, const QElapsedTimer &length)
{
    m_states[size_t(pass)].lastEnd = m_parts.clock.now();
    m_states[size_t(pass)].length = std::chrono::milliseconds(length.elapsed());
}

void ServicePasses::noteTask(const QString &task, const std::optional<QString> &cause)
{
    // A row that is set aside outside the five passes is a received message.
    auto pass = task.isEmpty() && !m_pass ? ServiceState::Pass::Receive : m_pass;
    for (int each = 0; each < ServiceState::passCount; ++each) {
        if (task.startsWith(passName(ServiceState::Pass(each))))
            pass = ServiceState::Pass(each);
    }
    if (!pass)
        return;
    ServiceState::PassState &state = m_states[size_t(*pass)];
    bool &isStruck = m_isStruck[size_t(*pass)];
    if (cause) {
        isStruck = true;
        ++state.faults;
        state.lastFault = m_parts.clock.now();
        state.cause = *cause;
        return;
    }
    // What goes on in a process of its own has not succeeded by being started.
    const bool isOver = *pass != ServiceState::Pass::Collect || !m_collector.isCollecting();
    if (isOver && task.startsWith(passName(*pass)) && !std::exchange(isStruck, false))
        state.lastSuccess = m_parts.clock.now();
}

ServiceState ServicePasses::state()
{
    ServiceState state;
    state.passes = m_states;
    state.oldestMailbox = m_collector.oldestMailbox();
    Connection &connection = m_parts.session.Conn();
    state.databaseFailure = m_parts.session.openFailure();
    if (connection.isOpen() || !state.databaseFailure.isEmpty())
        state.isDatabaseUp = connection.isOpen();
    state.queue = askQueue();
    state.rest = m_limits.resting();
    if (!m_parts.modem.isPortOpen())
        m_isModemAsked = false;
    else if (!std::exchange(m_isModemAsked, true))
        static_cast<void>(m_parts.modem.askStatus()); // from then on it asks itself
    if (m_parts.modem.isPortOpen())
        state.modem = m_parts.modem.status();
    state.modemFailure = m_parts.modem.lostCause();
    if (!m_parts.folders.isEmpty())
        state.diskFree = leastRoom(m_parts.folders);
    return state;
}

/// The table keeps no time of a row; a row waits since it was first the newest, or behind the newest.
std::optional<ServiceState::Queue> ServicePasses::askQueue()
{
    std::optional<ServiceState::Queue> queue;
    m_queueAskedAt = m_parts.clock.steady();
    if (!m_parts.session.Conn().isOpen())
        return queue;
    m_guard.run(u"发送队列统计"_s, [&] {
        Recordset rows(m_parts.session.Conn());
        rows.open(u"select count(*) as Waiting, min(OAID) as Oldest, max(OAID) as Newest from SMS_Queues"
                  " where MsgStatus='0'"_s);
        const QDateTime now = m_parts.clock.now();
        const qint64 oldest = rows.value("Oldest"_L1).toLongLong();
        while (!m_newestAt.isEmpty() && m_newestAt.firstKey() < oldest)
            m_newestAt.erase(m_newestAt.begin());
        const qint64 newest = rows.value("Newest"_L1).toLongLong();
        if (m_newestAt.isEmpty() || (m_newestAt.lastKey() < newest && m_newestAt.size() < mostMarks))
            m_newestAt.insert(newest, now);
        queue = {rows.value("Waiting"_L1).toLongLong(), oldest, m_newestAt.first()};
    });
    return queue;
}

void ServicePasses::setSettings(const ServiceSettings &settings)
{
    m_settings = settings;
    m_sender.setShared(settings.areServersSeveral);
    m_limits.set({settings.sendPerHour, settings.sendPerDay, settings.sendGap});
    m_inbound.setRepliesPerHour(settings.repliesPerHour);
    m_collector.setSettings(settings);
}

void ServicePasses::begin()
{
    m_guard.runPass(u"短信发送"_s, [this] {
        if (hasPlace())
            m_sender.settle();
    });
    storeSpooled();
    // A database lets go of the locks of a session that is silent for 45 s.
    constexpr std::chrono::seconds betweenSigns{15};
    if (m_settings.scanInterval > betweenSigns)
        m_signsOfLife.start(betweenSigns);
}

void ServicePasses::storeSpooled()
{
    bool isEmptied = false;
    m_guard.runPass(u"暂存短信处理"_s, [&] { isEmptied = m_inbound.retrySpooled(); });
    if (isEmptied)
        noteTask(passName(ServiceState::Pass::Receive), std::nullopt);
}

void ServicePasses::send()
{
    storeSpooled();
    if (!m_sender.isPassing())
        sendOn();
}

void ServicePasses::sendOn()
{
    constexpr auto pass = ServiceState::Pass::Send;
    if (!m_sender.isPassing()) {
        m_sinceSendPass.start();
        m_isStruck[size_t(pass)] = false;
    }
    m_pass = pass;
    bool hasNext = false; // of this pass or of the one to be begun at once
    const bool goesOn = m_guard.runTurn(u"短信发送"_s, [&] {
        hasNext = hasPlace() && m_sender.sendNext();
        return hasNext && m_sender.isPassing();
    });
    m_pass.reset();
    if (!goesOn) {
        m_sender.endPass(); // the guard may have left out the turn
        noteEnd(pass, m_sinceSendPass);
        if (m_sender.hasLeftRows() && m_parts.clock.steady() - m_queueAskedAt >= std::chrono::minutes(1))
            static_cast<void>(askQueue()); // for how long they wait
    }
    if (hasNext)
        m_nextTurn.start(0);
    else if (const auto left = m_limits.gapLeft(); left && m_sender.hasLeftRows())
        m_nextTurn.start(*left);
}

bool ServicePasses::hasPlace()
{
    const QString task = u"短信服务器共用数据库"_s;
    if (m_parts.session.Conn().takePlace(m_settings.areServersSeveral)) {
        m_faults.over(task);
        return true;
    }
    m_faults.failed(task,
                    m_settings.areServersSeveral
                        ? u"该数据库由一个没有设置 Servers=several 的短信服务器使用，本服务器暂不工作"_s
                        : u"该数据库由其他短信服务器使用，本服务器没有设置 Servers=several，暂不工作"_s);
    m_collector.stop();
    return false;
}

void ServicePasses::archive()
{
    run(ServiceState::Pass::Archive, u"archiver"_s, [this] { m_archiver.pass(); });
}

void ServicePasses::expand()
{
    run(ServiceState::Pass::Expand, u"expander"_s, [this] { m_expander.pass(); });
}

void ServicePasses::alert()
{
    run(ServiceState::Pass::Alert, u"alerts"_s, [this] { m_alerts.pass(); });
}

void ServicePasses::collect()
{
    run(ServiceState::Pass::Collect, {}, [this] { m_collector.pass(); }); // its process takes the lock
}

void ServicePasses::keepSession() noexcept
try {
    if (m_parts.session.Conn().isOpen())
        m_parts.session.Conn().ping();
} catch (const DatabaseFault &) {
    // The next statement finds it lost.
}

void ServicePasses::stop()
{
    m_nextTurn.stop();
    m_signsOfLife.stop();
    m_sender.endPass();
    m_collector.stop();
}
