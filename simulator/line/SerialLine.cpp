#include "simulator/line/SerialLine.h"

#include <stdexcept>
#include <utility>

namespace simulator
{
namespace
{
/// A peer that reads nothing for so long is not coming back for it.
constexpr qsizetype maxUnwritten = 4'194'304;
} // namespace

SerialLine::SerialLine(std::unique_ptr<LineEnd> end) : m_end(std::move(end))
{
    m_replug.setSingleShot(true);
    connect(m_end.get(), &LineEnd::received, &m_fromPeer, &LinePacer::push);
    connect(m_end.get(), &LineEnd::writable, this, &SerialLine::flush);
    connect(m_end.get(), &LineEnd::peersChanged, this, &SerialLine::noteOpen);
    connect(&m_fromPeer, &LinePacer::released, this, &SerialLine::takeFromPeer);
    connect(&m_toPeer, &LinePacer::released, this, [this](const QByteArray &octets) {
        if (m_unwritten.size() < maxUnwritten)
            m_unwritten += octets;
        flush();
    });
    connect(&m_replug, &QTimer::timeout, this, [this] {
        try {
            plug();
        } catch (const std::runtime_error &error) {
            qWarning("cannot plug in again: %s", error.what());
        }
    });
}

SerialLine::~SerialLine()
{
    const QSignalBlocker quiet(this);
    unplug();
}

void SerialLine::plug()
{
    if (isPlugged())
        return;
    m_replug.stop();
    m_end->plug();
    emit plugged();
}

void SerialLine::unplug()
{
    if (!isPlugged())
        return;
    m_end->unplug();
    m_isOpenedByPeer = false;
    m_fromPeer.clear();
    forgetOctets();
    emit unplugged();
}

void SerialLine::noteOpen(bool isOpen)
{
    if (!isOpen)
        forgetOctets();
    if (std::exchange(m_isOpenedByPeer, isOpen) != isOpen)
        emit peerChanged(isOpen);
}

/// What nobody reads any more.
void SerialLine::forgetOctets()
{
    m_toPeer.clear();
    m_unwritten.clear();
}

void SerialLine::replugAfter(std::chrono::milliseconds delay)
{
    m_replug.start(delay);
}

void SerialLine::setBaud(int baud)
{
    m_toPeer.setBaud(baud);
    m_fromPeer.setBaud(baud);
}

void SerialLine::write(const QByteArray &octets)
{
    constexpr char noise = '\xf8';
    if (isPlugged())
        m_toPeer.push(hasPeersSpeed() ? octets : QByteArray(octets.size(), noise));
}

void SerialLine::takeFromPeer(const QByteArray &octets)
{
    m_octetsIn += octets.size();
    if (hasPeersSpeed())
        emit received(octets);
}

void SerialLine::flush()
{
    if (isPlugged() && !m_unwritten.isEmpty())
        m_unwritten.remove(0, m_end->write(m_unwritten));
}
} // namespace simulator
