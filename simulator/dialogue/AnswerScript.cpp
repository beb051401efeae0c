#include "simulator/dialogue/AnswerScript.h"

#include <algorithm>

namespace simulator
{
namespace
{
/// The place of a line among those of an answer; absent when there is no such line.
std::optional<qsizetype> place(const QByteArrayList &lines, int line)
{
    const qsizetype at = line > 0 ? line - 1 : lines.size() + line;
    return at >= 0 && at < lines.size() ? std::optional(at) : std::nullopt;
}

/// False when the answer has no such line.
bool changeLine(QByteArrayList &lines, const AnswerChange &change)
{
    const std::optional<qsizetype> at = place(lines, change.line);
    if (!at)
        return false;
    if (change.kind == AnswerChange::Kind::Drop)
        lines.removeAt(*at);
    else if (change.kind == AnswerChange::Kind::Insert)
        lines.insert(*at, change.text);
    else if (change.kind == AnswerChange::Kind::Replace)
        lines[*at] = change.text;
    else if (change.kind == AnswerChange::Kind::Shorten)
        lines[*at].chop(2);
    else if (!lines[*at].isEmpty())
        lines[*at][lines[*at].size() / 2] = '~';
    return true;
}

/// False when the change does not apply to that answer.
bool apply(Reply &reply, const AnswerChange &change)
{
    switch (change.kind) {
    case AnswerChange::Kind::Whole:
        return false;
    case AnswerChange::Kind::Drop:
    case AnswerChange::Kind::Garble:
    case AnswerChange::Kind::Shorten:
    case AnswerChange::Kind::Insert:
    case AnswerChange::Kind::Replace:
        return changeLine(reply.lines, change);
    case AnswerChange::Kind::NoFinal:
        reply.final = Reply::Final::Nothing;
        reply.interruptible = true;
        return true;
    case AnswerChange::Kind::OkFirst:
        reply.linesAfter = std::exchange(reply.lines, {});
        return true;
    case AnswerChange::Kind::Late:
        reply.delay += change.delay;
        reply.interruptible = true;
        return true;
    case AnswerChange::Kind::Restart:
        reply = {.lines = {}, .final = Reply::Final::Nothing, .interruptible = true, .restarts = true};
        return true;
    }
    Q_UNREACHABLE();
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

void AnswerScript::Rule::countDown()
{
    if (count != always)
        --count;
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
    const auto whole = std::ranges::find_if(m_rules, [&command](const Rule &rule) {
        return rule.change.kind == AnswerChange::Kind::Whole && rule.fits(command);
    });
    Reply reply;
    if (whole != m_rules.end()) {
        reply.raw = whole->change.text;
        whole->countDown();
    } else {
        reply = usual();
        for (Rule &rule : m_rules) {
            if (rule.fits(command) && apply(reply, rule.change))
                rule.countDown();
        }
    }
    m_rules.removeIf([](const Rule &rule) { return rule.count == 0; });
    return reply;
}

QByteArray spelled(const AtCommand &command)
{
    switch (command.form) {
    case AtCommand::Form::Execute:
        return command.name + command.argument;
    case AtCommand::Form::Set:
        return command.name + '=' + command.argument;
    case AtCommand::Form::Read:
        return command.name + '?';
    case AtCommand::Form::Test:
        return command.name + "=?";
    }
    Q_UNREACHABLE();
}
} // namespace simulator
