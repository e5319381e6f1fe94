// What a command says at its end: a result for people or as JSON on standard output, errors on standard
// error.
//
// Main thread only, but for the texts, which any thread may have made.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include <nlohmann/json.hpp>

#include "base/error.h"

namespace lumato::cli {

// What scripts go by: the numbers and their meanings stay.
enum ExitStatus {
    kDone = 0,
    kRefused = 1,  // the frame or a file refused something
    kWrongUsage = 2,
    kNoFrame = 3,  // no frame found, or the file is no usable flash image
    kWaiting = 4,  // what was asked for is kept and waits, but is not on the frame
};

// Why a command ends early.
struct Failure {
    ExitStatus status = kRefused;
    Phrase message;
    bool stopped = false;  // because that was asked for
};

class Output {
  public:
    explicit Output(bool json) : m_json(json) {}

    // The result in both shapes; the one that was asked for is written. `text` ends without a line break.
    void Result(const nlohmann::ordered_json& json, const std::string& text) const;

    // "lumatoctl: message" on standard error; with --json an object with the member "error" on standard
    // output, too, so that a script always finds one. Returns `status`.
    int Failed(const Failure& failure) const;
    int Failed(ExitStatus status, Phrase message) const { return Failed({status, std::move(message)}); }
    // The message alone, for a failure whose result follows.
    static void Complain(const Phrase& message);

  private:
    const bool m_json;
};

// "1 picture": for the log, which does not know a text made of pieces from a name.
[[nodiscard]] Phrase PicturesOf(int count);
// "there is no picture 7; the frame has 3 pictures, and nothing was moved"
[[nodiscard]] Failure NoSuchPicture(int position, int count, const char* outcome);

// Reports whether everything said so far reached standard output (which may be a full disk). kDone becomes
// kRefused when it did not.
int FlushOutput(int status);

// Message and cause as one text: "Couldn't Process!: the file is empty". The first is a note, and notes are
// in the language of the resources folder.
[[nodiscard]] Phrase Described(const Error& error);

// What else is to be known, behind what is said: " (its colour profile ...)"; empty without a note.
[[nodiscard]] std::string InBrackets(const Phrase& note);

// 1234567 as "1,234,567".
[[nodiscard]] std::string Grouped(long long number);
// "1 picture", "2 pictures".
[[nodiscard]] std::string Count(long long number, std::string_view noun);

}  // namespace lumato::cli
