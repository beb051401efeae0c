#include "fuzz/Require.h"
#include "modem/tpdu/ReceivedTpdu.h"

/// The first octet is the length that the modem told, the rest the TPDU.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const QByteArrayView octets = octetsOf(data + 1, size - 1);
    const ReceivedTpdu tpdu = decodeReceived(octets, data[0]);
    if (const auto *unreadable = std::get_if<UnreadableTpdu>(&tpdu))
        require(!unreadable->problem.isEmpty());
    if (const auto *deliver = std::get_if<SmsDeliver>(&tpdu)) {
        require(deliver->ud.size() <= octets.size() * 2);
        require(deliver->oa.value.size() <= octets.size() * 2);
        if (const auto &place = deliver->udh.concatenation)
            require(place->total > 1 && place->sequence >= 1 && place->sequence <= place->total);
    }
    return 0;
}
