#pragma once

#include "tests/support/TestDatabase.h"

#include <QHash>
#include <QSet>

/// How the tables of an office differ from the sample schema.
enum class SchemaKind {
    Sample,      ///< not at all
    PaddedTexts, ///< status and codes as char(n), date-times as text
    NumbersZoned ///< status and codes as numbers, date-times with a zone
};
Q_DECLARE_METATYPE(SchemaKind)

/// The sample schema as another office has it, made from the sample's text: every name in another letter case
/// and quoted, the columns in another order between columns of the office's own that must not be null but
/// have a default, other kinds for some columns, and a trigger on every table that writes into a table with
/// numbers of its own. SchemaKind::Sample leaves all as it is.
class OtherSchema
{
public:
    OtherSchema(TestDatabase &database, SchemaKind kind);
    void load();
    [[nodiscard]] SchemaKind kind() const { return m_kind; }
    /// A statement of the OA system, which knows how its own tables are spelled.
    [[nodiscard]] QString spelled(const QString &sql) const;

private:
    [[nodiscard]] QString quoted(const QString &name) const;
    [[nodiscard]] QString kindOf(const QString &column, const QString &sampleKind) const;
    [[nodiscard]] QString definition(const QString &table, QStringList columns) const;
    void addTriggers();

    TestDatabase &m_database;
    SchemaKind m_kind;
    QHash<QString, QStringList> m_tables; // name to the sample's columns, each "name kind"
    QSet<QString> m_names;                // of tables and columns, in lower case
};
