#include "modem/SendVerdict.h"

#include "modem/line/AnswerFields.h"
#include "modem/line/AtChannel.h"

#include <algorithm>
#include <array>

namespace
{

using Kind = FinalResult::Kind;

struct CodeRange {
    Kind kind;
    int first;
    int last;
    SendVerdict beforePrompt;
    SendVerdict afterHandOver;
};

constexpr SendVerdict refused = SendVerdict::Refused;
constexpr SendVerdict notPrompted = SendVerdict::NotPrompted;
constexpr SendVerdict noNetwork = SendVerdict::NoNetwork;

/// The codes that decide something. All others, ERROR among them, are temporary or say nothing: 27, 38, 41,
/// 42, 47, 69, 300, 302, 320 to 332, 500, 512, 515, 532 and the makers' own.
constexpr std::array table{
    // The network's final word, 3GPP TS 24.011, annex E.2.
    CodeRange{Kind::CmsError, 1, 1, notPrompted, refused},   // unassigned number
    CodeRange{Kind::CmsError, 8, 10, notPrompted, refused},  // barred
    CodeRange{Kind::CmsError, 21, 21, notPrompted, refused}, // transfer rejected
    CodeRange{Kind::CmsError, 28, 30, notPrompted,
              refused}, // unidentified or unknown subscriber, facility rejected
    CodeRange{Kind::CmsError, 50, 50, notPrompted, refused},  // facility not subscribed
    CodeRange{Kind::CmsError, 81, 127, notPrompted, refused}, // the message is not as the protocol wants it
    // The service centre's, TP-FCS, 3GPP TS 23.040, 9.2.3.22; 192 and 194 are a centre that is busy
    // or failing.
    CodeRange{Kind::CmsError, 128, 191, notPrompted, refused},
    CodeRange{Kind::CmsError, 193, 193, notPrompted, refused},
    CodeRange{Kind::CmsError, 195, 207, notPrompted, refused},
    // The modem's, 3GPP TS 27.005, 3.2.5.
    CodeRange{Kind::CmsError, 303, 304, notPrompted, refused}, // not supported, invalid PDU parameter
    CodeRange{Kind::CmsError, 305, 305, SendVerdict::SettingsLost,
              SendVerdict::FateUnknown},                       // it is in text mode
    CodeRange{Kind::CmsError, 310, 318, noNetwork, noNetwork}, // the SIM
    CodeRange{Kind::CmsError, 331, 331, noNetwork, SendVerdict::NotTaken},
    // 3GPP TS 27.007, 9.2.
    CodeRange{Kind::CmeError, 10, 18, noNetwork, noNetwork},
    CodeRange{Kind::CmeError, 30, 32, noNetwork, SendVerdict::NotTaken},
};

/// "+CMGS: <mr>[,...]": only a number is a message reference.
bool hasMessageReference(const AtAnswer &answer)
{
    return std::any_of(answer.lines.cbegin(), answer.lines.cend(), [](const AtLine &line) {
        return answerFields(line.text).first().number().has_value();
    });
}

SendVerdict judgeResult(const FinalResult &result, bool isHandedOver)
{
    if (result.kind == Kind::Ok)
        return isHandedOver ? SendVerdict::NotConfirmed : notPrompted;
    for (const CodeRange &range : table) {
        if (range.kind == result.kind && range.first <= result.code && result.code <= range.last)
            return isHandedOver ? range.afterHandOver : range.beforePrompt;
    }
    return isHandedOver ? SendVerdict::NotTaken : notPrompted;
}

} // namespace

SendVerdict judgeSend(const AtAnswer &answer)
{
    // An echo that the bring-up had turned off: the modem restarted and reads text now.
    if (answer.isEchoUnexpected)
        return answer.isHandedOver ? SendVerdict::FateUnknown : SendVerdict::SettingsLost;
    if (answer.isHandedOver && hasMessageReference(answer))
        return SendVerdict::Accepted;
    switch (answer.end) {
    case AtAnswer::End::Final:
        return judgeResult(answer.result, answer.isHandedOver);
    case AtAnswer::End::Restarted:
        return answer.isHandedOver ? SendVerdict::FateUnknown : SendVerdict::SettingsLost;
    case AtAnswer::End::TimedOut:
        return answer.isHandedOver ? SendVerdict::FateUnknown : SendVerdict::NoPrompt;
    case AtAnswer::End::Lost:
        return answer.isHandedOver ? SendVerdict::FateUnknown : SendVerdict::PortLost;
    case AtAnswer::End::Prompt:
        break;
    }
    Q_UNREACHABLE();
}
