#pragma once

#include "database/Connection.h"
#include "mailbox/KeptMails.h"
#include "mailbox/MailTrace.h"
#include "mime/MimeMessage.h"

/// A retrieved message and for whom it is.
struct CollectedMail {
    QString userName;      ///< the OA user
    qint64 accountKey = 0; ///< SA_email.OAID
    QString uid;
    MimeMessage message;
    /// Store the text as an attachment 正文.txt too (UTF-8 with a mark) where EmailContent does not show it.
    bool attachHiddenText = false;
};

/// Stores a message as a row of VO_Email with a row of VO_EmailAttachments for each attachment, all in one
/// transaction. A column value that the database refuses is left unset and an attachment that it refuses is
/// missing, with a note each; the mail is stored all the same, and kept learns of it before it is committed. Throws
/// Fault, nothing then stored, when the mail's row is refused, the database is gone or kept cannot be told.
void storeMail(Connection &connection, CollectedMail mail, KeptMails &kept, const MailTrace &trace);

/// What VO_Email holds under a mail's id.
enum class Stored {
    Whole,   ///< this mail, as storeMail() stores it whole
    Other,   ///< another mail, or this one in part
    Unknown, ///< it cannot be compared
};

/// Writes the mail once more, so that the database's own changes to values are in both, compares it with what is stored
/// under its id, and takes that back. Throws DatabaseFault.
[[nodiscard]] Stored whatIsStored(Connection &connection, CollectedMail mail);
