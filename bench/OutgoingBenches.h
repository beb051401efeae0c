#pragma once

/// The parts of bench-outgoing. Each prints its figures and returns whether all of them hold.

/// 300 rows with and without network latency, against a bare loop on the
/// line; time from row to first AT octet.
[[nodiscard]] bool benchSender();
/// Processor share and memory of the idle service.
[[nodiscard]] bool benchIdle();
