#include "simulator/dialogue/AnswerScript.h"

#include <algorithm>

namespace simulator
{
namespace
{
using Kind = AnswerChange::Kind;

/// False when the answer has no such line.
bool changeLine(QByteArrayList &lines, const AnswerChange &change)
{
    const qsizetype at = change.number > 0 ? change.number - 1 : lines.size() + change.number;
    if (at < 0 || at >= lines.size())
        return false;
    if (change.kind == Kind::Drop)
        lines.removeAt(at);
    else if (change.kind == Kind::Insert)
        lines.insert(at, change.text);
    else if (change.kind == Kind::Replace)
        lines[at] = change.text;
    else if (change.kind == Kind::Shorten)
        lines[at].chop(2);
    else if (!lines[at].isEmpty())
        lines[at][lines[at].size() / 2] = '~';
    return true;
}

/// False when the change does not apply to that answer.
bool apply(Reply &reply, const AnswerChange &change)
{
    switch (change.kind) {
    case Kind::Whole:
    case Kind::Refuse:
    case Kind::BareOk:
        return false;
    case Kind::Usual:
        break;
    case Kind::Drop:
    case Kind::Garble:
    case Kind::Shorten:
    case Kind::Insert:
    case Kind::Replace:
        return changeLine(reply.lines, change);
    case Kind::OkFirst:
        reply.linesAfter = std::exchange(reply.lines, {});
        break;
    case Kind::NoFinal:
        reply.final = Reply::Final::Nothing;
        break;
    case Kind::Mute:
        reply = {.final = Reply::Final::Nothing};
        break;
    case Kind::Late:
    case Kind::Slow:
        reply.delay += std::chrono::milliseconds(change.number);
        reply.interruptible |= change.kind == Kind::Late;
        break;
    case Kind::Restart:
        reply = {.final = Reply::Final::Restart};
        break;
    case Kind::Unplug:
        reply = {.final = Reply::Final::Unplug};
        break;
    }
    return true;
}
} // namespace

bool AnswerScript::Rule::fits(const QByteArray &command) const
{
    if (count == 0)
        return false;
    if (pattern == "*" || pattern.isEmpty())
        return pattern == "*" || command.isEmpty();
    return command.first(qMin(command.size(), pattern.size())).compare(pattern, Qt::CaseInsensitive) == 0;
}

void AnswerScript::add(int count, const QByteArray &pattern, const AnswerChange &change)
{
    const bool hasAttention = pattern.first(qMin<qsizetype>(2, pattern.size())).toUpper() == "AT";
    const Rule rule{count, hasAttention ? pattern.sliced(2) : pattern, change};
    const auto lasting = std::ranges::find(m_rules, always, &Rule::count);
    m_rules.insert(count == always ? m_rules.cend() : QList<Rule>::const_iterator(lasting), rule);
}

Reply AnswerScript::run(const QByteArray &command, const std::function<Reply()> &usual)
{
    QList<Rule *> fitting;
    for (Rule &rule : m_rules) {
        if (rule.fits(command))
            fitting += &rule;
        if (!fitting.isEmpty() && fitting.last()->change.kind == Kind::Usual)
            break;
    }
    const auto whole =
        std::ranges::find(fitting, Kind::Whole, [](const Rule *rule) { return rule->change.kind; });
    Reply reply;
    if (whole != fitting.end()) {
        reply.raw = (*whole)->change.text;
        (*whole)->countDown();
    } else {
        reply = usual();
        for (Rule *rule : fitting) {
            if (apply(reply, rule->change))
                rule->countDown();
        }
    }
    m_rules.removeIf([](const Rule &rule) { return rule.count == 0; });
    return reply;
}

const AnswerChange *AnswerScript::takeRefusal()
{
    const auto rule = std::ranges::find_if(m_rules, [](const Rule &candidate) {
        const Kind kind = candidate.change.kind;
        return candidate.fits(body) && (kind == Kind::Usual || kind == Kind::Refuse || kind == Kind::BareOk);
    });
    if (rule == m_rules.end() || rule->change.kind == Kind::Usual)
        return nullptr;
    rule->countDown();
    return &rule->change;
}
} // namespace simulator
