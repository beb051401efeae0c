#include "mailbox/KeptMails.h"

#include "platform/fault/Fault.h"
#include "platform/files/Files.h"

using namespace Qt::StringLiterals;

KeptMails::KeptMails(QString file) : m_file(std::move(file))
{
    if (m_file.isEmpty())
        return;
    const FileContent content = readWhole(m_file);
    if (!content.error.isAbsence())
        m_error = content.error;
    for (const QByteArray &line : content.octets.split('\n')) {
        const qsizetype blank = line.indexOf(' ');
        if (blank > 0)
            m_mails.insert({line.left(blank).toLongLong(),
                            QString::fromUtf8(QByteArray::fromPercentEncoding(line.mid(blank + 1)))});
    }
}

void KeptMails::add(const MailKey &mail)
{
    if (m_mails.contains(mail))
        return;
    const QByteArray line =
        QByteArray::number(mail.accountKey) + ' ' + mail.uid.toUtf8().toPercentEncoding() + '\n';
    const FileError error = m_file.isEmpty() ? FileError() : appendSynced(m_file, line);
    if (error.isError())
        throw Fault(u"无法写入 %1：%2"_s.arg(m_file, error.text()));
    m_mails.insert(mail);
}
