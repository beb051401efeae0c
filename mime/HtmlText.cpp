#include "mime/HtmlText.h"

#include <QHash>
#include <QRegularExpression>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace
{

/// What is between "&" and ";".
QString entity(const QString &name)
{
    static const QHash<QString, QString> named{{u"amp"_s, u"&"_s},  {u"lt"_s, u"<"_s},
                                               {u"gt"_s, u">"_s},   {u"quot"_s, u"\""_s},
                                               {u"apos"_s, u"'"_s}, {u"nbsp"_s, u" "_s}};
    if (!name.startsWith(u'#'))
        return named.value(name.toLower(), u'&' + name + u';');
    const bool isHex = name.startsWith("#x"_L1, Qt::CaseInsensitive);
    const char32_t code = name.sliced(isHex ? 2 : 1).toUInt(nullptr, isHex ? 16 : 10);
    const bool isCharacter = code >= 0x20 && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
    return isCharacter ? QString::fromUcs4(&code, 1) : QString(QChar::ReplacementCharacter);
}

/// The end of the comment, style, script or tag that begins at "<".
qsizetype endOfTag(const QString &html, qsizetype at)
{
    static constexpr std::array<std::array<QLatin1StringView, 2>, 4> tags{{{"<!--"_L1, "-->"_L1},
                                                                           {"<style"_L1, "</style>"_L1},
                                                                           {"<script"_L1, "</script>"_L1},
                                                                           {"<"_L1, ">"_L1}}};
    const auto *const tag = std::ranges::find_if(tags, [&](const auto &ends) {
        return QStringView(html).sliced(at).startsWith(ends[0], Qt::CaseInsensitive);
    });
    const qsizetype found = html.indexOf(tag->at(1), at, Qt::CaseInsensitive);
    return found < 0 ? html.size() : found + tag->at(1).size();
}

} // namespace

QString textOfHtml(const QString &html)
{
    static const QRegularExpression block(u"^<(br|/p|/div|/tr|/li|/h[1-6]|/title|hr)\\b"_s,
                                          QRegularExpression::CaseInsensitiveOption);
    constexpr qsizetype longestEntity = 10;
    QString text;
    for (qsizetype at = 0; at < html.size();) {
        const QChar c = html[at];
        if (c == u'<') {
            if (block.match(html.mid(at, 8)).hasMatch())
                text += u'\n';
            at = endOfTag(html, at);
            continue;
        }
        const qsizetype end = c == u'&' ? QStringView(html).sliced(at).left(longestEntity).indexOf(u';') : -1;
        if (end > 0)
            text += entity(html.sliced(at + 1, end - 1));
        else if (!c.isSpace())
            text += c;
        else if (!text.isEmpty() && !text.back().isSpace())
            text += u' ';
        at += qMax<qsizetype>(end, 0) + 1;
    }
    return text.trimmed().replace(u"\n"_s, u"\r\n"_s);
}
