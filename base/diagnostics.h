// The one-line diagnostics of the lower rooms: for developers and bug reports, never the user's only message.
//
// The window sends them to standard output (the default), lumatoctl to standard error if told to
// (--verbose). Callable from any thread.
#pragma once

#include <cstdio>
#include <string_view>

namespace lumato {

// Writes `text` and a line break as one write, so that lines of two threads never mix.
void Diagnose(std::string_view text);

// Where later lines go; null means nowhere. Requires: the stream outlives its use here.
void SetDiagnosticStream(std::FILE* stream);

}  // namespace lumato
