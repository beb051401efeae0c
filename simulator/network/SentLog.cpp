#include "simulator/network/SentLog.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace simulator
{
SentLog::SentLog(const QString &fileName) : m_file(fileName)
{
    if (!fileName.isEmpty() && !m_file.open(QIODevice::WriteOnly | QIODevice::Append))
        throw std::runtime_error(u"cannot write %1: %2"_s.arg(fileName, m_file.errorString()).toStdString());
}

void SentLog::write(const SubmitRecord &record)
{
    if (!m_file.isOpen())
        return;
    const Concatenation part = record.tpdu.concatenation.value_or(Concatenation{});
    const QDateTime now = QDateTime::currentDateTime();
    QJsonObject object{{u"time"_s, now.toOffsetFromUtc(now.offsetFromUtc()).toString(Qt::ISODateWithMs)},
                       {u"number"_s, record.tpdu.number},
                       {u"text"_s, record.tpdu.text},
                       {u"reference"_s, part.reference},
                       {u"part"_s, part.sequence},
                       {u"parts"_s, part.total},
                       {u"messageReference"_s, record.messageReference},
                       {u"tpdu"_s, QString::fromLatin1(record.pdu.toHex().toUpper())}};
    if (record.textMode)
        object.insert(u"textMode"_s, true);
    if (record.refused)
        object.insert(u"refused"_s, *record.refused);
    m_file.write(QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n');
    m_file.flush();
}
} // namespace simulator
