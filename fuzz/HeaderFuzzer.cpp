#include "fuzz/Require.h"
#include "mime/AddressList.h"
#include "mime/ContentField.h"
#include "mime/FileNames.h"
#include "mime/HeaderDecoder.h"
#include "mime/MailDate.h"
#include "mime/MessageLimits.h"

/// The value of a header field, read as each kind of field.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArrayView raw = octetsOf(data, size);
    const auto requireOneLine = [](const QString &text) {
        requireStorable(text);
        require(std::none_of(text.cbegin(), text.cend(), [](QChar c) { return c.unicode() < 0x20; }));
    };
    requireOneLine(decodeHeaderText(raw));
    const QByteArray normal = normaliseHeader(raw);
    require(!normal.contains('\n') && !normal.contains('\r') && !normal.contains('\0'));
    require(QString::fromUtf8(normal).toUtf8() == normal);

    const QList<Mailbox> mailboxes = parseMailboxes(raw);
    require(mailboxes.size() <= MessageLimits::mailboxes);
    for (const Mailbox &mailbox : mailboxes) {
        require(!mailbox.address.isEmpty());
        requireOneLine(mailbox.name + mailbox.address);
    }
    const ContentField field(raw);
    for (const char *name : {"name", "filename", "charset", "boundary"}) {
        const QString value = field.parameter(name);
        requireStorable(value);
        const QString file = safeFileName(value);
        requireOneLine(file);
        require(file.size() <= 200 && !file.contains(u'/') && !file.contains(u'\\'));
        require(safeFileName(file) == file);
    }
    if (const QDateTime date = parseMailDate(raw); date.isValid())
        require(date.date().year() >= 1753 && date.date().year() <= 9999);
    return 0;
}
