// What is fuzzed: one function per reader of bytes that come from outside. They abort where a promise is
// broken; everything else the sanitizers see.
//
// libFuzzer drives them (main.cpp), and an ordinary test replays the seeds, among which is every input that
// ever found a fault. One call at a time, on one thread.
#pragma once

#include <string_view>
#include <vector>

#include "base/bytes.h"

namespace lumato::fuzz {

using Bytes = std::vector<std::uint8_t>;

struct Target {
    std::string_view name;
    void (*run)(ByteSpan input);
    std::vector<Bytes> (*seeds)();
};

void RunStream(ByteSpan input);    // the decoder of frame picture streams
void RunFrame(ByteSpan input);     // a whole flash: device information, table, read-back, a download
void RunJournal(ByteSpan input);   // the journal of a download that broke off
void RunLanguage(ByteSpan input);  // the language file
void RunBitmap(ByteSpan input);    // both readers of bitmap files
void RunJpeg(ByteSpan input);      // the importer of JPEG files
void RunReader(ByteSpan input);    // what a reader says of a picture
void RunReport(ByteSpan input);    // the trace of a report, and its replay

std::vector<Bytes> StreamSeeds();
std::vector<Bytes> FrameSeeds();
std::vector<Bytes> JournalSeeds();
std::vector<Bytes> LanguageSeeds();
std::vector<Bytes> BitmapSeeds();
std::vector<Bytes> JpegSeeds();
std::vector<Bytes> ReaderSeeds();
std::vector<Bytes> ReportSeeds();

inline constexpr Target kTargets[] = {
    {"stream", RunStream, StreamSeeds},    {"frame", RunFrame, FrameSeeds},
    {"journal", RunJournal, JournalSeeds}, {"language", RunLanguage, LanguageSeeds},
    {"bitmap", RunBitmap, BitmapSeeds},    {"jpeg", RunJpeg, JpegSeeds},
    {"reader", RunReader, ReaderSeeds},    {"report", RunReport, ReportSeeds},
};

}  // namespace lumato::fuzz
