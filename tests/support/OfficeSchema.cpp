#include "tests/support/OfficeSchema.h"

#include "platform/fault/Fault.h"
#include "platform/files/Files.h"
#include "tests/support/TextTable.h"

using namespace Qt::StringLiterals;

namespace
{

/// The sample of the route's system, without its comments.
QString sample(DatabaseRoute route)
{
    const QString system = isPostgreSql(route) ? u"postgresql"_s
                           : isMariaDb(route)  ? u"mariadb"_s
                                               : u"sqlite"_s;
    const QString name = QStringLiteral(SMS_SCHEMA_FOLDER) + u"/%1.sql"_s.arg(system);
    const auto [octets, error] = readWhole(name);
    if (error.isError())
        throw Fault(name + u": "_s + error.text());
    static const QRegularExpression comment(u"--[^\n]*"_s);
    return QString::fromUtf8(octets).remove(comment);
}

/// Columns that the sample has as text and that hold codes only.
bool isCode(const QString &column)
{
    static const QStringList codes{u"MsgStatus"_s, u"MsgType"_s,      u"IsSuccess"_s,   u"IsOrder"_s,
                                   u"isPulic"_s,   u"AccountState"_s, u"EmailSource"_s, u"EmailStatus"_s};
    return codes.contains(column);
}

} // namespace

OfficeSchema::OfficeSchema(DatabaseRoute route, SchemaKind kind) : m_route(route), m_kind(kind)
{
    if (kind == SchemaKind::None)
        return;
    if (kind == SchemaKind::Sample) {
        for (const QString &statement : sample(route).split(u';'))
            if (!statement.trimmed().isEmpty())
                m_statements += statement.trimmed();
        return;
    }
    addJournal();
    static const QRegularExpression table(u"create table (\\w+) \\(\\n(.*?)\\n\\)[^\\n]*;"_s,
                                          QRegularExpression::DotMatchesEverythingOption);
    for (const auto &match : table.globalMatch(sample(route)))
        addTable(match.captured(1), match.captured(2).split(u",\n"_s));
}

QString OfficeSchema::spelled(const QString &sql) const
{
    if (m_names.isEmpty())
        return sql;
    static const QRegularExpression word(u"\\w+"_s);
    return replaced(sql, word, [this](const QRegularExpressionMatch &match) {
        const QString name = match.captured();
        return m_names.contains(name.toLower()) ? quoted(name) : name;
    });
}

QString OfficeSchema::quoted(const QString &name) const
{
    const QChar quote = isMariaDb(m_route) ? u'`' : u'"';
    QString otherLetterCase;
    for (const QChar letter : name)
        otherLetterCase += letter.isUpper() ? letter.toLower() : letter.toUpper();
    return quote + otherLetterCase + quote;
}

QString OfficeSchema::kindOf(const QString &column, const QString &sampleKind) const
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
    return isPostgreSql(m_route) ? u"timestamp with time zone"_s : u"timestamp null"_s;
}

void OfficeSchema::addTable(const QString &name, QStringList columns)
{
    m_names += name.toLower();
    QStringList lines{quoted(u"row version"_s) + u" integer not null default 7"_s};
    std::reverse(columns.begin(), columns.end());
    for (const QString &column : std::as_const(columns)) {
        const QString columnName = column.trimmed().section(u' ', 0, 0);
        m_names += columnName.toLower();
        lines += quoted(columnName) + u' ' + kindOf(columnName, column.trimmed().section(u' ', 1));
    }
    lines += quoted(u"select"_s) + u" varchar(20) not null default 'office'"_s;
    m_statements += u"create table %1 (%2)"_s.arg(quoted(name), lines.join(u", "_s));
    for (const QString &when : {u"before"_s, u"after"_s})
        m_statements += u"create trigger %1_%2 %1 insert on %3 for each row %4"_s.arg(
            when, name, quoted(name),
            isPostgreSql(m_route) ? u"execute function keep_journal()"_s
            : isMariaDb(m_route)  ? u"insert into journal (note) values ('x')"_s
                                  : u"begin insert into journal (note) values ('x'); end"_s);
}

void OfficeSchema::addJournal()
{
    m_statements += u"create table journal (id %1, note varchar(20))"_s.arg(
        isPostgreSql(m_route) ? u"integer generated always as identity (start with 5000) primary key"_s
        : isMariaDb(m_route)  ? u"integer auto_increment primary key"_s
                              : u"integer primary key autoincrement"_s);
    m_statements += isPostgreSql(m_route)
                        ? u"create function keep_journal() returns trigger language plpgsql as"
                          " 'begin insert into journal (note) values (1); return new; end'"_s
                        : u"insert into journal (id, note) values (5000, 'first')"_s;
}
