#pragma once

#include "database/Connection.h"
#include "platform/clock/Clock.h"

#include <vector>

/// Not in the future, by the wall clock in whole seconds, so that a change of the zone's offset moves nothing.
[[nodiscard]] bool isDue(const QDateTime &scheduled, const Clock &clock);

/// What of SMS_WaitToSend has to be looked at. The due test is made here; but where the column was seen to compare as a
/// date, or holds texts such as "2006-03-05 07:08:09", the database leaves out the rows that are certainly in the
/// future, so that they cost next to nothing. Every hour all rows are read: a text of that form that is no date is then
/// found, and the column tried anew.
class WaitingRows
{
public:
    WaitingRows(Connection &connection, const Clock &clock) : m_connection(connection), m_clock(clock) {}

    struct Row {
        qint64 id = 0; ///< OAID
        bool hasId = false;
        bool hasDate = false;
        bool hasRecipients = false;
    };
    /// Those that are due or have no date that can be read, in the database's order. Throws DatabaseFault.
    [[nodiscard]] std::vector<Row> due();

private:
    [[nodiscard]] std::vector<Row> read();
    void learn(qint64 id, const QVariant &date);
    [[nodiscard]] bool compares(qint64 id, const QDateTime &date);
    [[nodiscard]] QString condition() const;

    Connection &m_connection;
    const Clock &m_clock;
    QString m_form; // of a date that the column compares with; "" while that is not known
    std::chrono::milliseconds m_learntAt{0};
};
