#pragma once

/// Makes this process fit for every way to be started: standard streams that are closed lead nowhere, instead of into
/// the next file that is opened; a reader that is gone and a file that is too large are errors, no signals that end
/// the process; without HOME the user's own folder is looked up. To be called first of all.
void prepareProcess();
