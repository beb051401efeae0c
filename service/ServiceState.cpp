#include "service/ServiceState.h"

#include "platform/text/HarmlessText.h"

using namespace Qt::StringLiterals;

namespace
{

QString timeText(const QDateTime &time)
{
    return time.isValid() ? time.toString(u"yyyy-MM-dd HH:mm:ss"_s) : u"无"_s;
}

QString lengthText(qint64 seconds)
{
    constexpr qint64 minute = 60;
    constexpr qint64 hour = 60 * minute;
    if (seconds < minute)
        return u"%1 秒"_s.arg(qMax<qint64>(seconds, 0));
    return seconds < hour ? u"%1 分钟"_s.arg(seconds / minute)
                          : u"%1 小时 %2 分钟"_s.arg(seconds / hour).arg(seconds % hour / minute);
}

QString databaseText(const ServiceState &state)
{
    if (!state.isDatabaseUp)
        return u"还没有连接"_s;
    return *state.isDatabaseUp ? u"已连接"_s : u"连接断开："_s + state.databaseFailure;
}

QString modemText(const ServiceState &state)
{
    if (!state.modem)
        return state.modemFailure.isEmpty() ? u"端口没有打开"_s : u"不能使用："_s + state.modemFailure;
    const ModemStatus &modem = *state.modem;
    const QStringList facts{
        modem.isRegistered ? (u"已注册到网络 "_s + modem.network).trimmed() : u"未注册到网络"_s,
        modem.signalDbm ? u"信号 %1 dBm（%2 格）"_s.arg(*modem.signalDbm).arg(modem.signalBars())
                        : u"信号未知"_s};
    return (facts + modem.troubles).join(u"，"_s);
}

QString simText(const ServiceState &state)
{
    if (!state.modem)
        return u"不详"_s;
    QStringList facts{state.modem->isSimReady ? u"正常"_s : u"不可用"_s};
    if (!state.modem->simEnd.isEmpty())
        facts += u"尾号 "_s + state.modem->simEnd;
    for (const ModemStatus::Memory &memory : state.modem->memories)
        facts += u"存储器 %1 已用 %2，共 %3"_s.arg(memory.name).arg(memory.used).arg(memory.total);
    return facts.join(u"，"_s);
}

QString mailboxText(const ServiceState &state)
{
    if (const auto &[name, cause, age] = state.oldestMailbox; age.count() > 0)
        return u"最久的一个已有 %1 没有收取干净（%2）：%3"_s.arg(
            lengthText(std::chrono::duration_cast<std::chrono::seconds>(age).count()), name, cause);
    const bool isKnown = state.passes[size_t(ServiceState::Pass::Collect)].lastSuccess.isValid();
    return isKnown ? u"没有未收取干净的"_s : u"不详"_s;
}

QString queueText(const ServiceState &state, const QDateTime &now)
{
    if (!state.queue)
        return u"不详"_s;
    if (state.queue->waiting == 0)
        return u"没有短信等待发送"_s;
    return u"%1 条等待发送，最早的一条（OAID %2）已等 %3"_s.arg(state.queue->waiting)
        .arg(state.queue->oldest)
        .arg(lengthText(state.queue->oldestSince.secsTo(now)));
}

QString passText(const ServiceState::PassState &pass)
{
    const QString text = u"上次成功 "_s + timeText(pass.lastSuccess);
    return pass.faults == 0 ? text
                            : text + u"；故障 %1 次，上次 %2：%3"_s.arg(QString::number(pass.faults),
                                                                        timeText(pass.lastFault), pass.cause);
}

} // namespace

QString passName(ServiceState::Pass pass)
{
    // As ServiceState::Pass.
    static const std::array<QString, ServiceState::passCount> names{u"短信发送"_s,     u"发送结果归档"_s,
                                                                    u"定时短信处理"_s, u"新邮件提醒"_s,
                                                                    u"外部邮件收取"_s, u"短信接收"_s};
    return names[size_t(pass)];
}

QString stateText(const ServiceState &state, const QDateTime &now)
{
    QStringList lines;
    lines += u"程序：自 %1 起运行，"_s.arg(timeText(state.since)) +
             (state.isRunning ? u"服务已启动"_s : u"服务没有启动"_s);
    lines += u"数据库："_s + databaseText(state);
    lines += u"短信猫："_s + modemText(state);
    lines += u"SIM 卡："_s + simText(state);
    lines += u"发送队列："_s + queueText(state, now);
    if (state.rest)
        lines += u"暂停发送：到 %1 为止，达到发送上限 %2（自 %3 起）"_s.arg(
            timeText(state.rest->until), state.rest->limit, timeText(state.rest->since));
    lines += u"外部邮箱："_s + mailboxText(state);
    for (int pass = 0; pass < ServiceState::passCount; ++pass)
        lines += passName(ServiceState::Pass(pass)) + u"："_s + passText(state.passes[size_t(pass)]);
    if (state.diskFree)
        lines += u"磁盘：剩余 %1 MB"_s.arg(*state.diskFree / (1 << 20));
    for (QString &line : lines)
        line = harmlessText(line);
    return lines.join(u'\n') + u'\n';
}
