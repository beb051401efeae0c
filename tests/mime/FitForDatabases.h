#pragma once

#include "mime/MimeMessage.h"

/// Whatever a message's octets are, every member gives a text that each database takes, and what a mail row needs.
inline bool isFitForDatabases(const MimeMessage &message)
{
    const auto isFit = [](const QString &text) {
        return !text.contains(QChar(u'\0')) && text.isValidUtf16();
    };
    const auto &recipients = message.Recipients();
    const auto &attachments = message.Attachments();
    return isFit(message.Subject()) && isFit(message.Body()) && isFit(message.HTMLBody()) &&
           isFit(message.From()) && isFit(message.FromName()) && isFit(message.ContentType()) &&
           message.ContentType().contains(u'/') && message.Priority() >= 1 && message.Priority() <= 5 &&
           std::all_of(recipients.cbegin(), recipients.cend(),
                       [&](const MimeRecipient &recipient) {
                           return isFit(recipient.EMail) && !recipient.EMail.isEmpty() &&
                                  recipient.ReType >= 0 && recipient.ReType <= 2;
                       }) &&
           std::all_of(attachments.cbegin(), attachments.cend(), [&](const MimeAttachment &attachment) {
               return isFit(attachment.Name()) && !attachment.Name().isEmpty() &&
                      !attachment.Name().contains(u'/') && isFit(attachment.ContentType()) &&
                      attachment.ContentType().contains(u'/') && attachment.BinaryData().size() >= 0;
           });
}
