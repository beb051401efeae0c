#pragma once

#include <QByteArray>
#include <QString>

/// As little as a program can do to talk to a modem: write, then read until the answer's end has come. Throws
/// Fault when the line takes or says nothing, and on an answer that ends in ERROR.
class BareLine
{
public:
    explicit BareLine(const QString &device);
    ~BareLine();
    BareLine(const BareLine &) = delete;
    BareLine &operator=(const BareLine &) = delete;

    QByteArray exchange(const QByteArray &octets, const QByteArray &end = "OK\r\n") const;

private:
    int m_descriptor;
};
