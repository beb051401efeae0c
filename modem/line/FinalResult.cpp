#include "modem/line/FinalResult.h"

#include "modem/line/AnswerFields.h"

#include <QList>
#include <array>

namespace
{

using Kind = FinalResult::Kind;

struct Word {
    QByteArrayView text;
    Kind kind;
};

constexpr std::array words{
    Word{"OK", Kind::Ok},
    Word{"ERROR", Kind::Error},
    Word{"COMMAND NOT SUPPORT", Kind::Error},
    Word{"TOO MANY PARAMETERS", Kind::Error},
};

struct NumberedError {
    int code;
    QByteArrayView text;
};

// What a modem says with AT+CMEE=2 for the codes that make a difference to this program.
constexpr std::array cmsErrors{
    NumberedError{1, "unassigned number"},
    NumberedError{1, "unassigned (unallocated) number"},
    NumberedError{8, "operator determined barring"},
    NumberedError{10, "call barred"},
    NumberedError{21, "short message transfer rejected"},
    NumberedError{27, "destination out of service"},
    NumberedError{27, "destination out of order"},
    NumberedError{28, "unidentified subscriber"},
    NumberedError{29, "facility rejected"},
    NumberedError{30, "unknown subscriber"},
    NumberedError{38, "network out of order"},
    NumberedError{41, "temporary failure"},
    NumberedError{42, "congestion"},
    NumberedError{47, "resources unavailable, unspecified"},
    NumberedError{50, "requested facility not subscribed"},
    NumberedError{69, "requested facility not implemented"},
    NumberedError{300, "me failure"},
    NumberedError{301, "sms service of me reserved"},
    NumberedError{302, "operation not allowed"},
    NumberedError{303, "operation not supported"},
    NumberedError{304, "invalid pdu mode parameter"},
    NumberedError{305, "invalid text mode parameter"},
    NumberedError{310, "sim not inserted"},
    NumberedError{311, "sim pin required"},
    NumberedError{312, "ph-sim pin required"},
    NumberedError{313, "sim failure"},
    NumberedError{314, "sim busy"},
    NumberedError{315, "sim wrong"},
    NumberedError{316, "sim puk required"},
    NumberedError{317, "sim pin2 required"},
    NumberedError{318, "sim puk2 required"},
    NumberedError{320, "memory failure"},
    NumberedError{321, "invalid memory index"},
    NumberedError{322, "memory full"},
    NumberedError{330, "smsc address unknown"},
    NumberedError{331, "no network service"},
    NumberedError{332, "network timeout"},
    NumberedError{340, "no +cnma acknowledgement expected"},
    NumberedError{500, "unknown error"},
};

constexpr std::array cmeErrors{
    NumberedError{3, "operation not allowed"},
    NumberedError{4, "operation not supported"},
    NumberedError{5, "ph-sim pin required"},
    NumberedError{10, "sim not inserted"},
    NumberedError{11, "sim pin required"},
    NumberedError{12, "sim puk required"},
    NumberedError{13, "sim failure"},
    NumberedError{14, "sim busy"},
    NumberedError{15, "sim wrong"},
    NumberedError{16, "incorrect password"},
    NumberedError{17, "sim pin2 required"},
    NumberedError{18, "sim puk2 required"},
    NumberedError{20, "memory full"},
    NumberedError{21, "invalid index"},
    NumberedError{22, "not found"},
    NumberedError{30, "no network service"},
    NumberedError{31, "network timeout"},
    NumberedError{32, "network not allowed - emergency calls only"},
    NumberedError{100, "unknown"},
};

template <std::size_t N>
int errorCode(QByteArrayView text, const std::array<NumberedError, N> &table)
{
    const QByteArray value = text.trimmed().toByteArray().toLower();
    bool isNumber = false;
    const int number = value.toInt(&isNumber);
    if (isNumber && number >= 0)
        return number;
    for (const NumberedError &error : table) {
        if (value == error.text)
            return error.code;
    }
    return FinalResult::unknownCode;
}

} // namespace

std::optional<FinalResult> finalResult(QByteArrayView line)
{
    for (const Word &word : words) {
        if (line.compare(word.text, Qt::CaseInsensitive) == 0)
            return FinalResult{word.kind, FinalResult::unknownCode};
    }
    constexpr QByteArrayView cme = "+CME ERROR:";
    constexpr QByteArrayView cms = "+CMS ERROR:";
    if (startsWithWord(line, cme))
        return FinalResult{Kind::CmeError, errorCode(line.sliced(cme.size()), cmeErrors)};
    if (startsWithWord(line, cms))
        return FinalResult{Kind::CmsError, errorCode(line.sliced(cms.size()), cmsErrors)};
    return std::nullopt;
}

bool isOfNetwork(const FinalResult &result)
{
    constexpr int firstOfModem = 300;
    return result.kind == Kind::CmsError && result.code < firstOfModem;
}

bool isOfStore(const FinalResult &result)
{
    return result.kind == Kind::CmsError && result.code >= 320 && result.code <= 322;
}

bool saysSimBusy(const FinalResult &result)
{
    return (result.kind == Kind::CmeError && result.code == 14) ||
           (result.kind == Kind::CmsError && result.code == 314);
}

bool saysTryLater(const FinalResult &result)
{
    const bool isOfMoment =
        (result.kind == Kind::CmeError && result.code == 515) ||
        (result.kind == Kind::CmsError && QList{302, 500, 512, 515, 532}.contains(result.code));
    return saysSimBusy(result) || isOfMoment;
}

QByteArray describe(const FinalResult &result)
{
    const QByteArray code =
        result.code == FinalResult::unknownCode ? QByteArray("?") : QByteArray::number(result.code);
    switch (result.kind) {
    case Kind::Ok:
        return "OK";
    case Kind::Error:
        return "ERROR";
    case Kind::CmeError:
        return "+CME ERROR: " + code;
    case Kind::CmsError:
        return "+CMS ERROR: " + code;
    }
    Q_UNREACHABLE();
}
