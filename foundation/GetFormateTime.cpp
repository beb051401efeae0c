#include "foundation/GetFormateTime.h"

using namespace Qt::StringLiterals;

QString GetFormateTime(const Clock &clock)
{
    return clock.now().toString(u"yyyy-MM-dd HH:mm:ss"_s);
}
