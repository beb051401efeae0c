#pragma once

#include <QSqlDatabase>
#include <QStringList>
#include <QVariantList>

/// The office's database on the memory disk: its tables, its people u1 to u6 and the services that they may take; and
/// the office's programs at it, which no kill ends.
class OfficeDatabase
{
public:
    /// A new one, on the disk and synced.
    OfficeDatabase();
    ~OfficeDatabase();
    Q_DISABLE_COPY_MOVE(OfficeDatabase)

    static QString fileName() { return QStringLiteral("oa.db"); }
    /// A user's mobile number.
    [[nodiscard]] static QString numberOf(const QString &user);

    /// It was closed by a power cut.
    void reopen();
    /// Whether it was done, and to any row.
    bool change(const QString &sql, const QVariantList &values = {}) const;
    /// Rows as the office sees them, columns joined by "|".
    [[nodiscard]] QStringList rows(const QString &query) const;
    /// Another program writes, if nobody else does, until letGo().
    [[nodiscard]] bool hold() const;
    void letGo() const;

private:
    QSqlDatabase m_office;
    QSqlDatabase m_other; ///< another program of the office
};
