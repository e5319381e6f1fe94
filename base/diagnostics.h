// The one-line diagnostics of the lower rooms: for developers and bug reports, never the user's only message.
//
// The window sends them to standard output (the default), lumatoctl to standard error if told to
// (--verbose), and both to their log. Callable from any thread.
#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <string_view>

namespace lumato {

// Writes `text` and a line break as one write, so that lines of two threads never mix; and logs it.
void Diagnose(std::string_view text);

// A line for the log alone.
void Log(std::string_view text);

// Where later lines go; null means nowhere. Requires: the stream outlives its use here.
void SetDiagnosticStream(std::FILE* stream);

// Takes the log's lines, without their line breaks, from any thread and without waiting; empty: nobody does.
void SetLog(std::function<void(std::string_view line)> log);

}  // namespace lumato
