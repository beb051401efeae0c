#pragma once

#include <QByteArrayView>

/// One number for all that happened in a run: octets on the lines, log, database. Equal in every process, or the run
/// does not replay.
namespace Digest
{

void restart();
/// Adds what happened, with the virtual time.
void add(QByteArrayView what, QByteArrayView octets);
/// In hexadecimal digits.
[[nodiscard]] QByteArray result();

} // namespace Digest
