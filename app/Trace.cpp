#include "app/Trace.h"

#include <QTime>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace
{

QByteArray printable(QByteArrayView octets)
{
    QByteArray text;
    for (const char octet : octets) {
        switch (octet) {
        case '\r':
            text += "\\r";
            break;
        case '\n':
            text += "\\n";
            break;
        default:
            if (octet >= 0x20 && octet < 0x7f)
                text += octet;
            else
                text += "\\x" + QByteArray::number(uchar(octet), 16).rightJustified(2, '0');
        }
    }
    return text;
}

} // namespace

void traceModem(TraceDirection direction, QByteArrayView octets)
{
    const QByteArray time = QTime::currentTime().toString(u"HH:mm:ss.zzz"_s).toLatin1();
    const char *arrow = direction == TraceDirection::Sent ? " > " : " < ";
    const QByteArray line = time + arrow + printable(octets) + '\n';
    std::fwrite(line.constData(), 1, size_t(line.size()), stderr);
}
