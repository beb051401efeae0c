#include "fuzz/Require.h"
#include "mime/MessageLimits.h"
#include "tests/mime/FitForDatabases.h"

/// A message as a mail server gives it.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray octets = octetsOf(data, size).toByteArray();
    const MimeMessage message(octets);
    require(isFitForDatabases(message));
    require(message.Attachments().size() <= MessageLimits::parts + 1);
    for (const MimeAttachment &attachment : message.Attachments())
        require(attachment.BinaryData().size() <= octets.size());
    const MimeMessage plain = MimeMessage::readPlainly(octets);
    // The charset of octets without a label is that of the text, which the plain reader does not know.
    const bool isAscii =
        std::all_of(octets.begin(), octets.end(), [](char c) { return c >= 0 && c != '\x1b'; });
    require(!isAscii || (plain.Subject() == message.Subject() && plain.From() == message.From()));
    require(plain.Attachments().size() == 1 && plain.Attachments()[0].BinaryData() == octets);
    return 0;
}
