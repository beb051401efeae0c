#pragma once

/// The parts of bench-outgoing. Each prints its figures and returns whether all of them hold.

/// One waiting row to 10,000 recipients, 3 pieces each, against the same statements prepared once on QtSql.
[[nodiscard]] bool benchExpander();
/// 20,000 finished rows, one transaction each, against the same statements prepared once on QtSql.
[[nodiscard]] bool benchArchiver();
/// 300 rows with and without network latency, against a bare loop on the line; time from row to first AT
/// octet.
[[nodiscard]] bool benchSender();
/// Processor share and memory of the idle service.
[[nodiscard]] bool benchIdle();
