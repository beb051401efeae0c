#include "tests/support/OtherSchema.h"

#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace
{

QString withOtherLetterCase(const QString &name)
{
    QString other;
    for (const QChar letter : name)
        other += letter.isUpper() ? letter.toLower() : letter.toUpper();
    return other;
}

/// Columns that the sample has as text and that hold codes only.
bool isCode(const QString &column)
{
    static const QStringList codes{u"MsgStatus"_s, u"MsgType"_s,      u"IsSuccess"_s,   u"IsOrder"_s,
                                   u"isPulic"_s,   u"AccountState"_s, u"EmailSource"_s, u"EmailStatus"_s};
    return codes.contains(column);
}

} // namespace

OtherSchema::OtherSchema(TestDatabase &database, SchemaKind kind) : m_database(database), m_kind(kind)
{
    static const QRegularExpression table(u"create table (\\w+) \\(\\n(.*?)\\n\\)[^\\n]*;"_s,
                                          QRegularExpression::DotMatchesEverythingOption);
    for (const auto &match : table.globalMatch(database.sampleSchema())) {
        QStringList columns = match.captured(2).split(u",\n"_s);
        m_names += match.captured(1).toLower();
        for (QString &column : columns) {
            column = column.trimmed();
            m_names += column.section(u' ', 0, 0).toLower();
        }
        m_tables.insert(match.captured(1), columns);
    }
}

void OtherSchema::load()
{
    if (m_kind == SchemaKind::Sample) {
        m_database.loadSchema();
        return;
    }
    for (auto table = m_tables.cbegin(); table != m_tables.cend(); ++table)
        m_database.oa(definition(table.key(), table.value()));
    addTriggers();
}

QString OtherSchema::spelled(const QString &sql) const
{
    if (m_kind == SchemaKind::Sample)
        return sql;
    static const QRegularExpression word(u"\\w+"_s);
    QString result;
    qsizetype end = 0;
    for (const auto &match : word.globalMatch(sql)) {
        result += sql.mid(end, match.capturedStart() - end);
        end = match.capturedEnd();
        result += m_names.contains(match.captured().toLower()) ? quoted(match.captured()) : match.captured();
    }
    return result + sql.mid(end);
}

QString OtherSchema::quoted(const QString &name) const
{
    const QChar quote = m_database.isMariaDb() ? u'`' : u'"';
    return quote + withOtherLetterCase(name) + quote;
}

QString OtherSchema::kindOf(const QString &column, const QString &sampleKind) const
{
    const bool isDateTime = sampleKind == u"timestamp" || sampleKind == u"datetime";
    if (m_kind == SchemaKind::PaddedTexts) {
        if (isCode(column))
            return u"char(4)"_s;
        if (column == u"UserName" || column == u"Mobile")
            return u"char(30)"_s;
        return isDateTime ? u"varchar(40)"_s : sampleKind;
    }
    if (isCode(column))
        return column == u"MsgStatus" ? u"integer"_s : u"numeric(4)"_s;
    if (column == u"CreateDT")
        return u"date"_s;
    if (!isDateTime)
        return sampleKind;
    return m_database.isPostgreSql() ? u"timestamp with time zone"_s : u"timestamp null"_s;
}

QString OtherSchema::definition(const QString &table, QStringList columns) const
{
    QStringList lines{quoted(u"row version"_s) + u" integer not null default 7"_s};
    std::reverse(columns.begin(), columns.end());
    for (const QString &column : qAsConst(columns)) {
        const QString name = column.section(u' ', 0, 0);
        lines += quoted(name) + u' ' + kindOf(name, column.section(u' ', 1));
    }
    lines += quoted(u"select"_s) + u" varchar(20) not null default 'office'"_s;
    return u"create table %1 (%2)"_s.arg(quoted(table), lines.join(u", "_s));
}

void OtherSchema::addTriggers()
{
    m_database.oa(u"create table journal (id %1, note varchar(20))"_s.arg(
        m_database.isPostgreSql() ? u"integer generated always as identity (start with 5000) primary key"_s
        : m_database.isMariaDb()  ? u"integer auto_increment primary key"_s
                                  : u"integer primary key autoincrement"_s));
    if (m_database.isPostgreSql()) {
        m_database.oa(u"create function keep_journal() returns trigger language plpgsql as"
                      " 'begin insert into journal (note) values (1); return new; end'"_s);
    } else {
        m_database.oa(u"insert into journal (id, note) values (5000, 'first')"_s);
    }
    for (auto table = m_tables.cbegin(); table != m_tables.cend(); ++table) {
        for (const QString &when : {u"before"_s, u"after"_s})
            m_database.oa(u"create trigger %1_%2 %1 insert on %3 for each row %4"_s.arg(
                when, table.key(), quoted(table.key()),
                m_database.isPostgreSql() ? u"execute function keep_journal()"_s
                : m_database.isMariaDb()  ? u"insert into journal (note) values ('x')"_s
                                          : u"begin insert into journal (note) values ('x'); end"_s));
    }
}
