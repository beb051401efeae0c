#pragma once

#include <QString>

/// An attachment's name fit to be a file name on any system: the part after the last "/" or "\", without
/// control characters and the characters <>:"|?*, without blanks and dots at the ends, at most 200 UTF-16
/// units with the extension kept. Empty when nothing is left.
[[nodiscard]] QString safeFileName(const QString &name);

/// The name of an attachment that has none: "attachment" and its number among the attachments of the message,
/// from 1, with the usual extension of the content type ("bin" where there is none).
[[nodiscard]] QString fileNameForType(const QString &contentType, int number);
