#pragma once

#include <QByteArrayView>
#include <QString>

/// Reads octets in order and never past the end. The first read that asks for more than is left fails for its
/// field; that and every later read then give zeros or nothing, so that a decoder checks once, at its end.
class OctetCursor
{
public:
    explicit OctetCursor(QByteArrayView octets) : m_octets(octets) {}

    [[nodiscard]] QByteArrayView take(qsizetype count, QStringView field)
    {
        if (hasFailed() || count > remaining()) {
            fail(field, count);
            return {};
        }
        const QByteArrayView taken = m_octets.sliced(m_position, count);
        m_position += count;
        return taken;
    }
    /// What is left of count octets; fewer are no failure.
    [[nodiscard]] QByteArrayView takeUpTo(qsizetype count)
    {
        return hasFailed() ? QByteArrayView() : take(qMin(count, remaining()), {});
    }
    [[nodiscard]] quint8 takeOctet(QStringView field)
    {
        const QByteArrayView one = take(1, field);
        return one.isEmpty() ? quint8{0} : static_cast<quint8>(one.front());
    }
    [[nodiscard]] qsizetype remaining() const { return m_octets.size() - m_position; }
    [[nodiscard]] qsizetype position() const { return m_position; }
    [[nodiscard]] bool hasFailed() const { return !m_failure.isEmpty(); }
    /// "TPDU too short for SCTS: 7 octets wanted at 12, 3 left"; "" while nothing failed.
    [[nodiscard]] const QString &failure() const { return m_failure; }

private:
    void fail(QStringView field, qsizetype wanted)
    {
        if (m_failure.isEmpty()) {
            m_failure = QStringLiteral("TPDU too short for %1: %2 octets wanted at %3, %4 left")
                            .arg(field.toString())
                            .arg(wanted)
                            .arg(m_position)
                            .arg(remaining());
        }
    }

    QByteArrayView m_octets;
    qsizetype m_position = 0;
    QString m_failure;
};
