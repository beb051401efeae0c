#pragma once

#include "database/Connection.h"

/// Reads VO_Email in slices, so that no statement takes long and no driver holds more than a slice, however
/// many mails there are and however their numbers lie. Bodies are not read, nor mails with EmailStatus "0".
///
/// Rejected: one statement for all, which at an interval of a second cost half a core with a million mails, and 219 MB
/// where the driver holds the result. And "the first N rows", which each database writes otherwise: a slice is a range
/// of numbers, whose width follows what the ranges before it held.
class MailSlices
{
public:
    /// A row of this query, in the order of VOID: VOID, kind (0 internal, 1 external, null neither), EmailTo,
    /// EmailFrom, EmailSubject.
    using Visit = std::function<void(const Statement &row)>;

    /// sliceRows: mails of one slice at most.
    explicit MailSlices(int sliceRows) : m_sliceRows(sliceRows), m_width(sliceRows) {}

    /// Visits the first slice of the mails with after < VOID <= last. Returns the number up to which all have
    /// been visited; last when there are no more. Throws DatabaseFault.
    [[nodiscard]] qint64 read(Connection &connection, qint64 after, qint64 last, const Visit &visit);

private:
    int m_sliceRows;
    qint64 m_width; // of the next slice in mail numbers
};
