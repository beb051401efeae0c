#pragma once

#include "mailbox/MailKey.h"
#include "platform/files/FileError.h"

#include <QSet>

/// The mails that were stored without a column or an attachment, by us, for the database refused it, or by another server:
/// the copy on the mail server is the only whole one and is never deleted. Kept in a file of the server's own, a line a mail.
class KeptMails
{
public:
    /// file: read now, and made when first needed; without one they are remembered as long as this object.
    explicit KeptMails(QString file = {});

    /// Why the file could not be read; any mail may be in it then.
    [[nodiscard]] const FileError &error() const { return m_error; }
    [[nodiscard]] bool contains(const MailKey &mail) const
    {
        return m_error.isError() || m_mails.contains(mail);
    }
    /// On the disk when it returns. Throws Fault when the file cannot be written.
    void add(const MailKey &mail);

private:
    QString m_file;
    FileError m_error;
    QSet<MailKey> m_mails;
};
