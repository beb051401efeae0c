#pragma once

#include "tests/support/DatabaseRoute.h"

#include <QHash>
#include <QSet>
#include <QStringList>

/// How the tables of an office differ from the sample schema.
enum class SchemaKind {
    Sample,       ///< not at all
    PaddedTexts,  ///< status and codes as char(n), date-times as text
    NumbersZoned, ///< status and codes as numbers, date-times with a zone
    None          ///< there are no tables
};
/// The sample schema of a route's system, or one that another office has, made from the sample's text: every
/// name in another letter case and quoted, the columns in another order between columns of the office's own
/// that must not be null but have a default, other kinds for some columns, and triggers on every table that
/// write into a table with numbers of its own.
class OfficeSchema
{
public:
    /// Throws Fault when the sample cannot be read.
    OfficeSchema(DatabaseRoute route, SchemaKind kind);

    [[nodiscard]] SchemaKind kind() const { return m_kind; }
    /// What makes the tables.
    [[nodiscard]] const QStringList &statements() const { return m_statements; }
    /// A statement of the OA system, which knows how its own tables are spelled.
    [[nodiscard]] QString spelled(const QString &sql) const;

private:
    [[nodiscard]] QString quoted(const QString &name) const;
    [[nodiscard]] QString kindOf(const QString &column, const QString &sampleKind) const;
    void addTable(const QString &name, QStringList columns);
    void addJournal();

    DatabaseRoute m_route;
    SchemaKind m_kind;
    QStringList m_statements;
    QSet<QString> m_names; // of tables and columns, in lower case
};
