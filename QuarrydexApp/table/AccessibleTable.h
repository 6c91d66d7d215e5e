/// Makes every ResultsTable known to screen readers as a table: its size, the texts of its cells,
/// its selection. Nothing of it walks the rows; a cell's object is made when it is asked for.
///
/// Threads: the main thread. Fails: never.
#pragma once

namespace quarrydex {

/// From the first call on; more calls do nothing.
void installAccessibleTables();

} // namespace quarrydex
