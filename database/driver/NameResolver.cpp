#include "database/driver/NameResolver.h"

#include "database/driver/SqlToken.h"

#include <QSet>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace
{

/// Words that are never a column's name in our statements, whatever columns an office's table has.
bool isKeyword(const QString &lowerCaseWord)
{
    static const QSet<QString> keywords = {
        u"select"_s, u"from"_s,   u"where"_s,  u"and"_s,       u"or"_s,      u"not"_s,    u"null"_s,
        u"is"_s,     u"in"_s,     u"like"_s,   u"between"_s,   u"exists"_s,  u"insert"_s, u"into"_s,
        u"values"_s, u"update"_s, u"set"_s,    u"delete"_s,    u"order"_s,   u"by"_s,     u"asc"_s,
        u"desc"_s,   u"limit"_s,  u"top"_s,    u"distinct"_s,  u"as"_s,      u"on"_s,     u"join"_s,
        u"left"_s,   u"inner"_s,  u"group"_s,  u"having"_s,    u"case"_s,    u"when"_s,   u"then"_s,
        u"else"_s,   u"end"_s,    u"escape"_s, u"returning"_s, u"default"_s, u"union"_s,  u"all"_s,
        u"for"_s,
    };
    return keywords.contains(lowerCaseWord);
}

bool isWord(const SqlToken &token, QLatin1String word)
{
    return token.kind == SqlToken::Kind::Word && token.text.compare(word, Qt::CaseInsensitive) == 0;
}

bool isSymbol(const SqlToken &token, QChar symbol)
{
    return token.kind == SqlToken::Kind::Symbol && token.text == symbol;
}

/// Indices of the words that name a table: those behind FROM, JOIN, INTO, UPDATE, and behind the commas of a
/// FROM list.
QList<qsizetype> tablePlaces(const QList<SqlToken> &tokens)
{
    QList<qsizetype> places;
    bool expected = false;
    bool inList = false;
    for (qsizetype i = 0; i < tokens.size(); ++i) {
        const SqlToken &token = tokens[i];
        if (token.kind == SqlToken::Kind::Blank)
            continue;
        const bool opensList = isWord(token, "from"_L1);
        if (opensList || isWord(token, "join"_L1) || isWord(token, "into"_L1) || isWord(token, "update"_L1)) {
            expected = true;
            inList = opensList;
        } else if (expected && token.kind == SqlToken::Kind::Word) {
            places += i;
            expected = false;
        } else if (inList && isSymbol(token, u',')) {
            expected = true;
        } else {
            expected = false;
            inList = inList && token.kind == SqlToken::Kind::Word && !isKeyword(token.text.toLower());
        }
    }
    return places;
}

} // namespace

QString NameResolver::rewritten(const QString &sql)
{
    const QList<SqlToken> tokens = sqlTokens(sql);
    QHash<QString, const Table *> tables; // of this statement, by lower-case name
    const QList<qsizetype> places = tablePlaces(tokens);
    for (const qsizetype place : places) {
        if (const Table *table = find(tokens[place].text))
            tables.insert(tokens[place].text.toLower(), table);
    }
    QString result;
    for (qsizetype i = 0; i < tokens.size(); ++i) {
        const SqlToken &token = tokens[i];
        const QString lower = token.text.toLower();
        if (token.kind != SqlToken::Kind::Word || isKeyword(lower)) {
            result += token.text;
            continue;
        }
        const bool qualifies = i + 1 < tokens.size() && isSymbol(tokens[i + 1], u'.');
        const auto asTable = tables.constFind(lower);
        if (asTable != tables.cend() && (qualifies || places.contains(i))) {
            result += m_quote((*asTable)->name);
            continue;
        }
        const bool isCall = i + 1 < tokens.size() && isSymbol(tokens[i + 1], u'(');
        QString spelled = token.text;
        for (const Table *table : std::as_const(tables)) {
            const auto column = table->columns.constFind(lower);
            if (column != table->columns.cend() && !isCall && !qualifies)
                spelled = m_quote(column->name);
        }
        result += spelled;
    }
    return result;
}

QList<NameResolver::Column> NameResolver::storedParameters(const QString &sql) const
{
    QList<SqlToken> tokens = sqlTokens(sql);
    tokens.removeIf([](const SqlToken &token) { return token.kind == SqlToken::Kind::Blank; });
    const QList<qsizetype> places = tablePlaces(tokens);
    const auto table =
        places.isEmpty() ? m_tables.cend() : m_tables.constFind(tokens[places.first()].text.toLower());
    if (table == m_tables.cend())
        return {};
    QStringList inserted; // columns of an INSERT, in order
    const bool isInsert = isWord(tokens.first(), "insert"_L1);
    qsizetype at = places.first() + 1;
    if (isInsert) {
        for (; at < tokens.size() && !isWord(tokens[at], "values"_L1); ++at) {
            if (tokens[at].kind == SqlToken::Kind::Word)
                inserted += tokens[at].text.toLower();
        }
    }
    QList<Column> parameters;
    qsizetype item = 0;
    bool stored = true;
    for (; at < tokens.size(); ++at) {
        if (isWord(tokens[at], "where"_L1))
            stored = false;
        if (isInsert && isSymbol(tokens[at], u','))
            ++item;
        if (!isSymbol(tokens[at], u'?'))
            continue;
        QString column;
        if (isInsert)
            column = inserted.value(item);
        else if (stored && at >= 2 && isSymbol(tokens[at - 1], u'='))
            column = tokens[at - 2].text.toLower();
        parameters += table->columns.value(column);
    }
    return parameters;
}

const NameResolver::Table *NameResolver::find(const QString &name)
{
    const QString lower = name.toLower();
    auto known = m_tables.find(lower);
    if (known == m_tables.end()) {
        // What is not there now may be there later, so only what was found is kept.
        const auto table = lookUp(name);
        if (!table)
            return nullptr;
        known = m_tables.insert(lower, *table);
    }
    return &*known;
}

/// Of several tables that differ only in letter case the one spelled as asked for, else the first.
std::optional<NameResolver::Table> NameResolver::lookUp(const QString &name) const
{
    const QList<Column> columns = m_lookup(name.toLower());
    if (columns.isEmpty())
        return std::nullopt;
    Table table;
    table.name = columns.first().table;
    for (const Column &column : columns) {
        if (column.table == name)
            table.name = name;
    }
    for (const Column &column : columns) {
        if (column.table == table.name && !table.columns.contains(column.name.toLower()))
            table.columns.insert(column.name.toLower(), column);
    }
    return table;
}

DatabaseFault withColumnsTooShort(const DatabaseFault &refusal, const QList<NameResolver::Column> &parameters,
                                  const QVariantList &values)
{
    QStringList columns;
    for (qsizetype i = 0; i < qMin(parameters.size(), values.size()); ++i) {
        const auto &column = parameters[i];
        if (column.maximumLength > 0 && values[i].toString().toUcs4().size() > column.maximumLength)
            columns += column.table + u'.' + column.name;
    }
    if (columns.isEmpty())
        return refusal;
    return {refusal.kind(), refusal.message() + u"（内容太长：%1）"_s.arg(columns.join(u'，'))};
}
