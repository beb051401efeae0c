#pragma once

#include <QList>
#include <QString>

/// A piece of a statement's text.
struct SqlToken {
    enum class Kind {
        Blank,
        Word,    ///< a bare name or keyword
        Literal, ///< a quoted text, a quoted name or a number, quotes included
        Symbol,  ///< one character of anything else
    };

    Kind kind = Kind::Symbol;
    QString text;
};

/// The pieces of a statement, in order and complete: joined they give the statement again. For the statements
/// of this program: no comments, texts in single quotes, names bare or quoted as standard SQL, MariaDB or SQL
/// Server do. An unfinished quote reaches to the end.
[[nodiscard]] QList<SqlToken> sqlTokens(const QString &sql);
