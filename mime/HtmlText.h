#pragma once

#include <QString>

/// The text that an HTML page shows, roughly: without tags, styles and scripts, a line a block, the usual entities
/// decoded. Lines end in CR LF.
[[nodiscard]] QString textOfHtml(const QString &html);
