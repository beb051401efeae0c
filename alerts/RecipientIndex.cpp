#include "alerts/RecipientIndex.h"

using namespace Qt::StringLiterals;

namespace
{

/// A longer name is searched for as it is: looking up every beginning of an entry would cost its square.
constexpr qsizetype longestIndexedName = 64;

} // namespace

void RecipientIndex::add(const QString &userName, int number)
{
    // A name with "*" spans entries.
    if (userName.contains(u'*') || userName.size() > longestIndexedName) {
        m_oddNumbers.insert(u'*' + userName + "-0-"_L1, number);
    } else {
        m_numbers.insert(userName, number);
        m_longestName = qMax(m_longestName, userName.size());
    }
}

void RecipientIndex::find(QStringView emailTo, const std::function<void(int)> &found) const
{
    for (qsizetype star = emailTo.indexOf(u'*'); star >= 0;) {
        const qsizetype next = emailTo.indexOf(u'*', star + 1);
        findInEntry(emailTo.mid(star + 1, next < 0 ? -1 : next - star - 1), found);
        star = next;
    }
    for (auto odd = m_oddNumbers.cbegin(); odd != m_oddNumbers.cend(); ++odd) {
        if (emailTo.contains(odd.key()))
            found(odd.value());
    }
}

void RecipientIndex::findInEntry(QStringView entry, const std::function<void(int)> &found) const
{
    // A name may hold "-" and even "-0-", so each "-0-" of the entry may be the one behind the name.
    const qsizetype last = qMin(entry.size() - 3, m_longestName);
    for (qsizetype i = 0; i <= last; ++i) {
        if (entry[i] != u'-' || entry[i + 1] != u'0' || entry[i + 2] != u'-')
            continue;
        // fromRawData: a look-up needs no copy of the name.
        const auto number = m_numbers.constFind(QString::fromRawData(entry.data(), i));
        if (number != m_numbers.cend())
            found(*number);
    }
}
