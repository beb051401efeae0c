#include "fuzz/Require.h"
#include "mime/CharsetDecoder.h"
#include "mime/Utf8Check.h"

/// A label up to the first NUL, then the octets.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArrayView input = octetsOf(data, size);
    const qsizetype labelEnd = qMax<qsizetype>(input.indexOf('\0'), 0);
    const QByteArrayView octets = input.sliced(qMin(labelEnd + 1, input.size()));
    const QString text = decodeText(octets, input.first(labelEnd));
    requireStorable(text);
    require(text.size() <= octets.size() * 2 + 16); // Big5-HKSCS has letters that are two characters
    const Utf8Check check = checkUtf8(octets);
    if (check.valid() && check.longSequences > 0 && !octets.contains('\0'))
        require(text == QString::fromUtf8(octets));
    return 0;
}
