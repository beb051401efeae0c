#include "modem/line/SerialDevice.h"

using namespace Qt::StringLiterals;

QString serialDevice(int comPort)
{
    if (comPort < 1)
        return {};
#ifdef Q_OS_WIN
    return (comPort < 10 ? u"COM%1"_s : u"\\\\.\\COM%1"_s).arg(comPort);
#else
    return u"/dev/ttyS%1"_s.arg(comPort - 1);
#endif
}
