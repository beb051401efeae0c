#include "modem/Registration.h"

#include "modem/line/AnswerFields.h"
#include "modem/line/AtChannel.h"

namespace
{

bool isUnknownCommand(const FinalResult &result)
{
    using Kind = FinalResult::Kind;
    return result.kind == Kind::Ok || result.kind == Kind::Error ||
           (result.kind == Kind::CmeError && (result.code == 4 || result.code == 100));
}

} // namespace

std::optional<bool> isRegistered(AtChannel &channel, const ModemLimits &limits, const QByteArrayList &names)
{
    std::optional<bool> isRegistered;
    for (const QByteArray &name : names) {
        const AtAnswer answer = channel.exchange("AT" + name + '?', name + ':', limits.command);
        for (const AtLine &line : answer.lines) {
            // <stat> is the last of one or the second of several parameters.
            const QList<AnswerField> fields = answerFields(line.text);
            const int stat = fields.value(fields.size() > 1 ? 1 : 0).number().value_or(0);
            if (stat == 1 || stat == 5 || stat == 6 || stat == 7)
                return true;
        }
        if (answer.end != AtAnswer::End::Final)
            return false;
        if (!answer.lines.isEmpty() || !isUnknownCommand(answer.result))
            isRegistered = false;
    }
    return isRegistered;
}
