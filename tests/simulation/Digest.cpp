#include "tests/simulation/Digest.h"

#include "tests/simulation/VirtualTime.h"

#include <QCryptographicHash>
#include <cstdio>

namespace
{

QCryptographicHash &hash()
{
    static QCryptographicHash all(QCryptographicHash::Sha1);
    return all;
}

} // namespace

void Digest::restart()
{
    hash().reset();
}

void Digest::add(QByteArrayView what, QByteArrayView octets)
{
    const QByteArray time = QByteArray::number(qint64(VirtualTime::instance().now().count()));
    for (const QByteArrayView part : {QByteArrayView(time), what, octets})
        hash().addData(part);
    static const bool isShown = qEnvironmentVariableIsSet("SIMULATION_TRACE");
    if (isShown)
        std::fprintf(stderr, "%12.6f %d %s %s\n", time.toDouble() / 1e9, VirtualTime::instance().domain(),
                     what.toByteArray().constData(),
                     octets.toByteArray().replace("\r", "<CR>").replace("\n", "<LF>").constData());
}

QByteArray Digest::result()
{
    return hash().result().toHex();
}
