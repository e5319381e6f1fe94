// The first thing that every program of ours does. A program that was started with its standard input, output
// or error closed gives their numbers to the next files that it opens: what it then says to people would be
// written over a frame's flash.
#pragma once

namespace lumato {

// Occupies those of the descriptors 0 to 2 that are closed, so that reading or writing them still fails: a
// result that cannot be printed counts as one. Ends the program where that cannot be had. Main thread,
// before anything is opened.
void OccupyStandardDescriptors();

}  // namespace lumato
