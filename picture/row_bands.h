// Shares the rows of a drawing between the processors.
//
// Callable from any thread.
#pragma once

#include <functional>

namespace lumato::picture {

// Calls `draw` for bands of rows that together are 0..rows, several at the same time, and returns when all of
// them are done. Few rows, or a single processor, need no thread. Requires: what is drawn of a row depends on
// no other row.
void DrawInBands(int rows, const std::function<void(int begin, int end)>& draw);

}  // namespace lumato::picture
