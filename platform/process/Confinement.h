#pragma once

#include <QtGlobal>

#include <chrono>

/// What a process that reads what strangers send may use.
struct ProcessLimits {
    qint64 memoryOctets = 0; ///< address space
    int descriptors = 0;     ///< open at once
};

/// Confines this process for the rest of its life: the limits, no core dump, no further privileges, and it ends
/// with the process that started it. What this system cannot do is left out.
void confineProcess(const ProcessLimits &limits);

/// The process is ended when it uses this much processor time from now on; 0 takes that back. Waiting costs none.
void limitProcessorTime(std::chrono::seconds time);
