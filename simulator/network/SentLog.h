#pragma once

#include "simulator/tpdu/TpduDecoder.h"

#include <QFile>

namespace simulator
{
/// What became of a TPDU.
struct SubmitRecord {
    QByteArray pdu;
    Tpdu tpdu; ///< empty when the TPDU could not be decoded
    int messageReference = 0;
    bool textMode = false;      ///< it was a text, not a TPDU, that the program handed over
    std::optional<int> refused; ///< the +CMS ERROR code; 0 when the refusal was a bare OK
};

/// A JSON Lines file: one object for each TPDU, accepted or refused, flushed at once. README of the
/// fields: time (ISO 8601), number, text, reference (of the concatenation; 0 when single), part, parts,
/// messageReference (the <mr> of +CMGS), tpdu (hexadecimal), textMode, and refused for a refused one.
class SentLog
{
public:
    /// Appends to that file; throws std::runtime_error when it cannot be opened. An empty name keeps no file.
    explicit SentLog(const QString &fileName);

    void write(const SubmitRecord &record);

private:
    QFile m_file;
};
} // namespace simulator
