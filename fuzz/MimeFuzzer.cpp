#include "fuzz/Require.h"
#include "mime/MessageLimits.h"
#include "mime/MimeMessage.h"

/// A message as a mail server gives it.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray octets = octetsOf(data, size).toByteArray();
    const MimeMessage message(octets);
    for (const QString &text : {message.Subject(), message.ContentType(), message.Body(), message.HTMLBody(),
                                message.FromName(), message.From()})
        requireStorable(text);
    require(message.Priority() >= 1 && message.Priority() <= 5 && message.ContentType().contains(u'/'));
    for (const MimeRecipient &recipient : message.Recipients())
        require(recipient.ReType >= 0 && recipient.ReType <= 2 && !recipient.EMail.isEmpty());
    require(message.Attachments().size() <= MessageLimits::parts + 1);
    for (const MimeAttachment &attachment : message.Attachments()) {
        requireStorable(attachment.Name());
        require(!attachment.Name().isEmpty() && attachment.ContentType().contains(u'/'));
        require(attachment.BinaryData().size() <= octets.size());
    }
    const MimeMessage plain = MimeMessage::readPlainly(octets);
    require(plain.Subject() == message.Subject() && plain.From() == message.From());
    require(plain.Attachments().size() == 1 && plain.Attachments()[0].BinaryData() == octets);
    return 0;
}
