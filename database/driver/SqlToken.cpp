#include "database/driver/SqlToken.h"

namespace
{

bool isWordCharacter(QChar c)
{
    return c.isLetterOrNumber() || c == u'_' || c == u'$' || c == u'#' || c == u'@';
}

/// The character that ends what this one opens; a null QChar when it opens nothing.
QChar closing(QChar open)
{
    if (open == u'[')
        return u']';
    return open == u'\'' || open == u'"' || open == u'`' ? open : QChar();
}

} // namespace

QList<SqlToken> sqlTokens(const QString &sql)
{
    QList<SqlToken> tokens;
    qsizetype at = 0;
    const auto take = [&](SqlToken::Kind kind, qsizetype end) {
        tokens += {kind, sql.mid(at, end - at)};
        at = end;
    };
    const auto endOf = [&sql](qsizetype start, auto belongs) {
        qsizetype end = start;
        while (end < sql.size() && belongs(sql[end]))
            ++end;
        return end;
    };
    while (at < sql.size()) {
        const QChar c = sql[at];
        if (c.isSpace()) {
            take(SqlToken::Kind::Blank, endOf(at, [](QChar other) { return other.isSpace(); }));
        } else if (const QChar close = closing(c); !close.isNull()) {
            // A doubled quote comes out as two literals side by side, which joins to the same text.
            const qsizetype end = sql.indexOf(close, at + 1);
            take(SqlToken::Kind::Literal, end < 0 ? sql.size() : end + 1);
        } else if (c.isDigit()) {
            take(SqlToken::Kind::Literal, endOf(at, isWordCharacter));
        } else if (isWordCharacter(c)) {
            take(SqlToken::Kind::Word, endOf(at, isWordCharacter));
        } else {
            take(SqlToken::Kind::Symbol, at + 1);
        }
    }
    return tokens;
}
