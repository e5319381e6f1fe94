// Shares the rows of a drawing between the processors.
//
// Callable from any thread.
#pragma once

#include <functional>

namespace lumato::picture {

// Whether anybody still waits for a drawing; empty: somebody does. Asked by the thread that draws it.
using IsWanted = std::function<bool()>;

// Calls `draw` for bands of rows that together are 0..rows, several at the same time, and returns when all of
// them are done, or those that were begun when the drawing was no longer wanted. Few rows, or a single
// processor, need no thread. Requires: what is drawn of a row depends on no other row.
void DrawInBands(int rows, const std::function<void(int begin, int end)>& draw,
                 const IsWanted& isWanted = {});

}  // namespace lumato::picture
