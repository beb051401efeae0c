#include "tests/support/TestOffice.h"

#include "database/Recordset.h"
#include "foundation/Settings.h"

#include <QFile>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace
{

QString readText(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        throw Fault(u"cannot read %1"_s.arg(fileName));
    return QString::fromUtf8(file.readAll());
}

} // namespace

TestOffice::TestOffice()
{
    QFile file(databaseFile());
    if (!m_folder.isValid() || !file.open(QIODevice::WriteOnly))
        throw Fault(u"cannot create %1"_s.arg(databaseFile()));
    file.close();
    m_oaSystem.open(connectString());
    // Tests commit thousands of times and never lose power.
    oa(u"pragma synchronous=off"_s);
    QString schema = readText(QStringLiteral(SMS_SCHEMA_FOLDER) + u"/sqlite.sql"_s);
    schema.remove(QRegularExpression(u"--[^\n]*"_s));
    const QStringList statements = schema.split(u';');
    for (const QString &statement : statements) {
        if (!statement.trimmed().isEmpty())
            oa(statement);
    }
    registry.write(Settings::connectStringPath(), connectString());
    if (!session.OpenDB())
        throw Fault(session.openFailure());
    session.Conn().execute(u"pragma synchronous=off"_s);
}

void TestOffice::makeDurable()
{
    oa(u"pragma synchronous=full"_s);
    session.Conn().execute(u"pragma synchronous=full"_s);
}

void TestOffice::configureModem(const QString &device, int scanIntervalSeconds)
{
    registry.write(Settings::centerCodePath(), u"+8613800755500"_s);
    registry.write(Settings::timeDelayPath(), QString::number(scanIntervalSeconds));
    registry.write(Settings::serverPortPath(), u"3"_s);
    registry.write(Settings::comDevicePath(3), device);
}

QString TestOffice::connectString() const
{
    return u"Provider=SQLite;Data Source=\"%1\""_s.arg(databaseFile());
}

void TestOffice::oa(const QString &sql, const QVariantList &values)
{
    m_oaSystem.execute(sql, values);
}

QStringList TestOffice::rows(const QString &query, const QVariantList &values)
{
    const auto snapshot = m_oaSystem.query(query, values);
    QStringList rows;
    QStringList row;
    for (const QVariant &value : snapshot.values) {
        row += value.isNull() ? u"NULL"_s : value.toString();
        if (row.size() == snapshot.columns.size())
            rows += std::exchange(row, {}).join(u'|');
    }
    return rows;
}
