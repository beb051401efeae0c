#include "mime/Utf8Check.h"

namespace
{

/// Length of the well-formed character of two or more octets at the front; 0 when there is none.
qsizetype sequenceLength(QByteArrayView octets)
{
    const auto at = [&](qsizetype i) {
        return i < octets.size() ? static_cast<unsigned char>(octets[i]) : 0U;
    };
    const auto isTail = [&](qsizetype i) { return at(i) >= 0x80 && at(i) <= 0xBF; };
    const unsigned lead = at(0);
    const unsigned second = at(1);
    if (lead >= 0xC2 && lead <= 0xDF)
        return isTail(1) ? 2 : 0;
    if (lead >= 0xE0 && lead <= 0xEF) {
        const bool overlong = lead == 0xE0 && second < 0xA0;
        const bool surrogate = lead == 0xED && second > 0x9F;
        return isTail(1) && isTail(2) && !overlong && !surrogate ? 3 : 0;
    }
    if (lead >= 0xF0 && lead <= 0xF4) {
        const bool overlong = lead == 0xF0 && second < 0x90;
        const bool beyondUnicode = lead == 0xF4 && second > 0x8F;
        return isTail(1) && isTail(2) && isTail(3) && !overlong && !beyondUnicode ? 4 : 0;
    }
    return 0;
}

} // namespace

Utf8Check checkUtf8(QByteArrayView octets)
{
    Utf8Check check;
    for (qsizetype i = 0; i < octets.size();) {
        if (static_cast<unsigned char>(octets[i]) < 0x80) {
            ++i;
            continue;
        }
        const qsizetype length = sequenceLength(octets.sliced(i, qMin<qsizetype>(4, octets.size() - i)));
        check.strayOctets += length == 0 ? 1 : 0;
        check.shortSequences += length == 2 ? 1 : 0;
        check.longSequences += length > 2 ? 1 : 0;
        i += qMax<qsizetype>(length, 1);
    }
    return check;
}
