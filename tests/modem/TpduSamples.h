#pragma once

#include "tests/modem/Deliver.h"

#include <QByteArrayList>

/// TPDUs that decode, hex: every kind of address, alphabet and header. The first is a widely
/// published recording.
inline QByteArrayList tpduSamples()
{
    return {
        "07917283010010F5040BC87238880900F10000993092516195800AE8329BFD4697D9EC37",
        "0004038100F10000621102910300230441E19008",                     // short number "001"... septets
        "00040ED0E8329BFD4697D90000621102910300230441E19008",           // alphanumeric sender
        "000405812143F5000462110291030023030102FF",                     // 8-bit
        "00440D91683108108300F00000621102910300230A05000301020182C466", // 7-bit with header, fill bits
        Deliver{.text = QStringLiteral("中文😀")}.hex(),
        Deliver{.text = QString(67, u'汉'), .udh = Deliver::concatenation(255, 3, 3)}.hex(),
        "00440D91683108108300F0000062110291030023050324010141", // Turkish single shift
        "0006070B913108108300F0621102019100236211020191002300", // status report
    };
}
