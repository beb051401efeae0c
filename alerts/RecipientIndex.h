#pragma once

#include <QHash>
#include <QString>
#include <functional>

/// Tells which of many users a mail is for: those for whom EmailTo contains "*" + user name + "-0-", letter
/// for letter. The cost for one mail does not grow with the number of users.
class RecipientIndex
{
public:
    /// number: the user's, given back by find(). A name is added once.
    void add(const QString &userName, int number);

    /// Calls found with the number of each addressed user, in no particular order; more than once for a user
    /// who has several entries.
    void find(QStringView emailTo, const std::function<void(int number)> &found) const;

private:
    void findInEntry(QStringView entry, const std::function<void(int number)> &found) const;

    QHash<QString, int> m_numbers;    // by name, of the names that lie inside one entry
    qsizetype m_longestName = 0;      // among these
    QHash<QString, int> m_oddNumbers; // by search text, of all other names
};
