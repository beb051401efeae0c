#include "mailbox/KeptMails.h"

#include "platform/fault/Fault.h"

#include <QFile>
#include <unistd.h>

using namespace Qt::StringLiterals;

KeptMails::KeptMails(QString file) : m_file(std::move(file))
{
    QFile lines(m_file);
    if (m_file.isEmpty() || !lines.open(QIODevice::ReadOnly))
        return;
    while (!lines.atEnd()) {
        const QByteArray line = lines.readLine().trimmed();
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
    m_mails.insert(mail);
    if (m_file.isEmpty())
        return;
    QFile lines(m_file);
    const QByteArray line =
        QByteArray::number(mail.accountKey) + ' ' + mail.uid.toUtf8().toPercentEncoding() + '\n';
    if (!lines.open(QIODevice::Append) || lines.write(line) != line.size() || !lines.flush() ||
        ::fsync(lines.handle()) != 0)
        throw Fault(u"无法写入 %1：%2"_s.arg(m_file, lines.errorString()));
}
