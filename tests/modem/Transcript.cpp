#include "tests/modem/Transcript.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace
{

/// Lines with what is indented below them, without comments.
QStringList logicalLines(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("cannot read " + fileName.toStdString());
    QStringList lines;
    for (const QString &line : QString::fromUtf8(file.readAll()).split(u'\n')) {
        if (line.startsWith(u' '))
            lines.last() += u' ' + line.trimmed();
        else if (!line.trimmed().isEmpty() && !line.startsWith(u'#'))
            lines += line;
    }
    return lines;
}

QString withRepetitions(const QString &text)
{
    static const QRegularExpression repetition(uR"(\{(\d+)\*([^}]+)\})"_s);
    QString whole;
    qsizetype end = 0;
    for (const auto &match : repetition.globalMatch(text)) {
        whole += text.sliced(end, match.capturedStart() - end);
        whole += match.captured(2).repeated(match.captured(1).toInt());
        end = match.capturedEnd();
    }
    return whole + text.sliced(end);
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
