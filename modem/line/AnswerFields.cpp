#include "modem/line/AnswerFields.h"

namespace
{

AnswerField makeField(QByteArrayView raw)
{
    const QByteArrayView text = raw.trimmed();
    const auto enclosed = [&text](char open, char close) {
        return text.size() >= 2 && text.front() == open && text.back() == close;
    };
    if (enclosed('"', '"'))
        return {text.sliced(1, text.size() - 2).toByteArray(), AnswerField::Kind::Quoted};
    if (enclosed('(', ')'))
        return {text.sliced(1, text.size() - 2).toByteArray(), AnswerField::Kind::List};
    return {text.toByteArray(), AnswerField::Kind::Plain};
}

} // namespace

std::optional<int> AnswerField::number() const
{
    bool isNumber = false;
    const int value = text.toInt(&isNumber);
    if (kind == Kind::List || !isNumber || value < 0)
        return std::nullopt;
    return value;
}

bool startsWithWord(QByteArrayView line, QByteArrayView word)
{
    return line.size() >= word.size() && line.first(word.size()).compare(word, Qt::CaseInsensitive) == 0;
}

QList<AnswerField> answerFields(QByteArrayView line)
{
    const qsizetype colon = QByteArray::fromRawData(line.data(), line.size()).indexOf(':');
    const QByteArrayView rest = line.sliced(colon + 1);
    QList<AnswerField> fields;
    bool quoted = false;
    int depth = 0;
    qsizetype start = 0;
    for (qsizetype i = 0; i < rest.size(); ++i) {
        const char c = rest[i];
        if (c == '"')
            quoted = !quoted;
        else if (!quoted && c == '(')
            ++depth;
        else if (!quoted && c == ')' && depth > 0)
            --depth;
        else if (!quoted && depth == 0 && c == ',') {
            fields.append(makeField(rest.sliced(start, i - start)));
            start = i + 1;
        }
    }
    fields.append(makeField(rest.sliced(start)));
    return fields;
}

QList<int> listedNumbers(QByteArrayView list)
{
    constexpr int most = 31; // no parameter of the commands used here goes beyond
    QList<int> numbers;
    for (const QByteArray &item : list.toByteArray().split(',')) {
        const QList<QByteArray> ends = item.trimmed().split('-');
        bool firstIsNumber = false;
        bool lastIsNumber = false;
        const int first = ends.first().toInt(&firstIsNumber);
        const int last = ends.last().toInt(&lastIsNumber);
        if (!firstIsNumber || !lastIsNumber || ends.size() > 2)
            continue;
        for (int value = qMax(first, 0); value <= qMin(last, most); ++value)
            numbers.append(value);
    }
    return numbers;
}
