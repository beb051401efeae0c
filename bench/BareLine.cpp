#include "bench/BareLine.h"

#include "platform/fault/Fault.h"

#include <QFile>
#include <array>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

BareLine::BareLine(const QString &device)
    : m_descriptor(::open(QFile::encodeName(device).constData(), O_RDWR | O_NOCTTY))
{
    termios settings{};
    if (m_descriptor < 0 || ::tcgetattr(m_descriptor, &settings) != 0)
        throw Fault(u"cannot open %1"_s.arg(device));
    ::cfmakeraw(&settings);
    ::tcsetattr(m_descriptor, TCSANOW, &settings);
    exchange("ATE0\r");
    exchange("AT+CMGF=0\r");
}

BareLine::~BareLine()
{
    ::close(m_descriptor);
}

QByteArray BareLine::exchange(const QByteArray &octets, const QByteArray &end) const
{
    if (::write(m_descriptor, octets.constData(), size_t(octets.size())) != octets.size())
        throw Fault(u"the line takes nothing"_s);
    QByteArray answer;
    while (!answer.endsWith(end)) {
        std::array<char, 4096> chunk;
        const ssize_t count = ::read(m_descriptor, chunk.data(), chunk.size());
        if (count <= 0 || answer.endsWith("ERROR\r\n"))
            throw Fault(QString::fromLatin1(octets + answer));
        answer.append(chunk.data(), count);
    }
    return answer;
}
