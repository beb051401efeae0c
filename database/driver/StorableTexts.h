#pragma once

#include "database/driver/CharacterSet.h"
#include "database/driver/NameResolver.h"

#include <QStringList>

/// Texts with characters that the database cannot hold: what is to be stored goes on with "?" in their place,
/// and what is compared finds nothing, because nothing equals it.
///
/// A database with one encoding for all (PostgreSQL) is not even asked: there a refusal would end the transaction.
/// Where columns have sets of their own (MariaDB, MySQL) the server is the judge: after its refusal.
class StorableTexts
{
public:
    /// Asks the server for a text as this character set of its own holds it.
    using Ask = std::function<QString(const QString &characterSet, const QString &text)>;

    StorableTexts(const NameResolver &names, Ask ask) : m_names(names), m_ask(std::move(ask)) {}

    /// The encoding of the whole database, as the server calls it.
    void setEncoding(const QString &serverName);

    /// Fits the values before the statement is run. False when it would find nothing. bound: as boundValue() makes
    /// them.
    [[nodiscard]] bool fit(const QString &sql, QVariantList &bound);

    enum class Remedy {
        None,         ///< the refusal stands
        Replaced,     ///< the values are fit now
        FindsNothing, ///< the statement compares with what is not there
    };
    /// Fits the values after the server refused them for their characters. Once more when the next refusal comes.
    [[nodiscard]] Remedy fitRefused(const QString &sql, QVariantList &bound, const DatabaseFault &refusal);

    /// The server itself has replaced characters in this statement's values.
    void noteReplaced(const QString &sql);
    /// The tables in which characters were replaced since this was last asked.
    [[nodiscard]] QStringList takeReplacedTables();

private:
    [[nodiscard]] Remedy learn(const QString &sql, QVariantList &bound, const QString &refusal);

    const NameResolver &m_names;
    Ask m_ask;
    CharacterSet m_encoding;
    QStringList m_replacedTables;
};
