#include "app/Trace.h"

#include "platform/text/HarmlessText.h"

#include <QTime>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace
{

QByteArray printable(QByteArrayView octets)
{
    QByteArray text;
    for (const char octet : octets) {
        if (octet == '\r' || octet == '\n')
            text += octet == '\r' ? "\\r" : "\\n";
        else if (octet >= 0x20 && octet < 0x7f)
            text += octet;
        else
            text += "\\x" + QByteArray::number(uchar(octet), 16).rightJustified(2, '0');
    }
    return text;
}

/// sign: ">" sent, "<" received.
void show(char sign, const QByteArray &text)
{
    const QByteArray time = QTime::currentTime().toString(u"HH:mm:ss.zzz"_s).toLatin1();
    const QByteArray line = time + ' ' + sign + ' ' + text + '\n';
    std::fwrite(line.constData(), 1, size_t(line.size()), stderr);
}

} // namespace

void traceModem(TraceDirection direction, QByteArrayView octets)
{
    show(direction == TraceDirection::Sent ? '>' : '<', printable(octets));
}

MailTrace mailTrace()
{
    return {[](Pop3Direction direction, const QString &line) {
                show(direction == Pop3Direction::Sent ? '>' : '<', "POP3 " + harmlessText(line).toUtf8());
            },
            [](const QString &text) { show('!', harmlessText(text).toUtf8()); }};
}
