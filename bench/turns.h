// The turns that the main thread takes: from the end of one wait for events to the next. The program's poll()
// and ppoll() measure them, where this is linked in.
//
// Main thread only; waits of others are let through.
#pragma once

namespace lumato::bench {

struct Turn {
    double work = 0;  // milliseconds of that thread's processor time
    double away = 0;  // milliseconds that went by
};

// The longest of each; to be set back when something new begins.
extern Turn g_longest;
// Turns of more than 12 ms of work are told on standard error.
extern bool g_listsTurns;

}  // namespace lumato::bench
