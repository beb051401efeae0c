#include "modem/tpdu/DataCoding.h"

namespace
{

DataCoding::Alphabet alphabetOf(int bits)
{
    switch (bits & 0x03) {
    case 1:
        return DataCoding::Alphabet::EightBit;
    case 2:
        return DataCoding::Alphabet::Ucs2;
    default:
        return DataCoding::Alphabet::Gsm7;
    }
}

} // namespace

DataCoding decodeDataCoding(quint8 dcs)
{
    DataCoding coding;
    const int group = dcs >> 4;
    if (group < 0x8) { // general data coding, and the same marked for automatic deletion
        coding.alphabet = alphabetOf(dcs >> 2);
        coding.isCompressed = (dcs & 0x20) != 0;
    } else if (group == 0xe) { // message waiting indication, UCS-2
        coding.alphabet = DataCoding::Alphabet::Ucs2;
    } else if (group == 0xf) { // data coding and message class
        coding.alphabet = (dcs & 0x04) != 0 ? DataCoding::Alphabet::EightBit : DataCoding::Alphabet::Gsm7;
    }
    return coding;
}
