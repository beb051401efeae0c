#include "modem/SimState.h"

#include "modem/line/AnswerFields.h"
#include "modem/line/AtChannel.h"

using namespace Qt::StringLiterals;

namespace
{

SimState missing(const QString &words)
{
    return {ModemResult::SimMissing, u"没有插入 SIM 卡（%1）"_s.arg(words)};
}

SimState locked(const QString &code)
{
    return {ModemResult::SimLocked,
            u"SIM 卡需要输入 %1，请先用手机解除 PIN 码，程序不会猜测 PIN 码"_s.arg(code)};
}

} // namespace

SimState simState(const AtAnswer &answer)
{
    if (answer.isOk()) {
        const QByteArray state = answer.lines.isEmpty()
                                     ? QByteArray("READY")
                                     : answerFields(answer.lines.last().text).first().text.toUpper();
        if (state == "READY")
            return {};
        return state.startsWith("NOT ") ? missing(QString::fromLatin1(state))
                                        : locked(QString::fromLatin1(state));
    }
    if (answer.end != AtAnswer::End::Final)
        return {ModemResult::SimFailure, u"SIM 卡没有应答"_s};
    const QString words = QString::fromLatin1(describe(answer.result));
    const bool isCme = answer.result.kind == FinalResult::Kind::CmeError;
    const bool isCms = answer.result.kind == FinalResult::Kind::CmsError;
    const int code = answer.result.code;
    if ((isCme && code == 10) || (isCms && code == 310))
        return missing(words);
    if ((isCme && QList{5, 11, 12}.contains(code)) || (isCms && QList{311, 312, 316}.contains(code)))
        return locked(u"PIN/PUK（%1）"_s.arg(words));
    if ((isCme && QList{13, 14, 15}.contains(code)) || (isCms && QList{313, 314, 315}.contains(code)))
        return {ModemResult::SimFailure, u"SIM 卡不可用（%1）"_s.arg(words)};
    return {};
}

/// "+CCID: 8986...", "^ICCID: 8986...", with quotes or without, or the bare number: 18 to 20 digits, an F as filling.
QByteArray askIccid(AtChannel &channel, const ModemLimits &limits)
{
    constexpr qsizetype fewest = 18;
    for (const QByteArray &name : {QByteArray("+CCID"), QByteArray("^ICCID"), QByteArray("+ICCID")}) {
        const QByteArray command = "AT" + name + (name == "^ICCID" ? "?" : "");
        const AtAnswer answer =
            channel.exchange(command, name + ':', limits.command, AtChannel::Expect::Text);
        for (const AtLine &line : answer.lines) {
            QByteArray digits;
            for (const char c : line.text) {
                if (c >= '0' && c <= '9')
                    digits += c;
            }
            if (digits.size() >= fewest)
                return digits;
        }
        if (answer.end != AtAnswer::End::Final)
            break;
    }
    return {};
}
