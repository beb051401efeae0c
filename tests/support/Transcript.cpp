#include "tests/support/Transcript.h"

#include "tests/support/TextTable.h"

#include <QFileInfo>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace
{

/// Lines with what is indented below them.
QStringList logicalLines(const QString &fileName)
{
    QStringList lines;
    for (const TextLine &line : textLines(fileName)) {
        if (line.text.startsWith(u' '))
            lines.last() += u' ' + line.text.trimmed();
        else
            lines += line.text;
    }
    return lines;
}

} // namespace

QList<Transcript> readTranscripts(const QString &fileName)
{
    QList<std::pair<QRegularExpression, QString>> words;
    QList<Transcript> transcripts;
    for (QString line : logicalLines(fileName)) {
        for (const auto &[word, meaning] : words)
            line.replace(word, meaning);
        if (line.startsWith(u"word "_s)) {
            const QString word = line.section(u' ', 1, 1);
            const QString meaning = line.section(u" = "_s, 1).replace(u'\\', u"\\\\"_s);
            words += {QRegularExpression(u"\\b%1\\b"_s.arg(word)), meaning};
            continue;
        }
        const QString steps = line.section(u": "_s, 1).replace(u'\'', u'"');
        transcripts += {QFileInfo(fileName).baseName() + u": "_s + line.section(u": "_s, 0, 0),
                        withRepetitions(steps).split(u" / "_s)};
    }
    return transcripts;
}
