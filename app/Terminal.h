#pragma once

#include <QString>
#include <cstdio>
#include <functional>

/// At once, in UTF-8.
void print(FILE *stream, const QString &text);

/// The exit status of work, or 1 when a fault ended it, which is said on standard error.
[[nodiscard]] int statusOf(const std::function<int()> &work);

/// From now on the windowing library speaks the language of ours, where its translation is installed: the help, the menus
/// and dialogs. The application has to be there.
void translateLibrary();

/// The libraries remark on what is missing, a desktop for instance; from now on only what is critical is said.
void dropRemarks();
