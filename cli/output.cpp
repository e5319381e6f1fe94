#include "cli/output.h"

#include <cerrno>
#include <cstdio>

#include "base/diagnostics.h"
#include "base/printable.h"
#include "base/private_text.h"
#include "text/localized.h"

namespace lumato::cli {
namespace {

// File names need not be UTF-8, JSON must be: bytes that are not become U+FFFD.
std::string Serialized(const nlohmann::ordered_json& json) {
    return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace

void Output::Result(const nlohmann::ordered_json& json, const std::string& text) const {
    std::printf("%s\n", (m_json ? Serialized(json) : text).c_str());
}

int Output::Failed(const Failure& failure) const {
    Complain(failure.message);
    nlohmann::ordered_json json = {{"error", failure.message.English()}};
    if (failure.stopped)
        json["stopped"] = true;
    if (m_json)
        std::printf("%s\n", Serialized(json).c_str());
    return failure.status;
}

void Output::Complain(const Phrase& message) {
    Log("said: " + WithoutNames(message));
    // Whatever a name or a reader's text brought along stays one line that a terminal shows as it stands.
    std::fprintf(stderr, "lumatoctl: %s\n", Printable(message.English()).c_str());
}

Phrase PicturesOf(int count) {
    return count == 1 ? Phrase("1 picture") : Phrase("", "{} pictures", count);
}

Failure NoSuchPicture(int position, int count, const char* outcome) {
    return {kRefused, Phrase("", "there is no picture {0}; the frame has {1}, and {2}", position,
                             PicturesOf(count), outcome)};
}

int FlushOutput(int status) {
    errno = 0;
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0)
        return status;
    Output::Complain(About("standard output", SystemMessage(errno != 0 ? errno : EIO)));
    return status == kDone ? kRefused : status;
}

Phrase Described(const Error& error) {
    return error.cause.empty() ? error.message : About(text::Localized(error.message), error.cause);
}

std::string InBrackets(const Phrase& note) {
    return note.empty() ? "" : " (" + note.English() + ")";
}

std::string Grouped(long long number) {
    std::string digits = std::to_string(number);
    const std::size_t first = digits.front() == '-' ? 1 : 0;
    for (std::size_t at = digits.size(); at > first + 3;) {
        at -= 3;
        digits.insert(at, 1, ',');
    }
    return digits;
}

std::string Count(long long number, std::string_view noun) {
    return Grouped(number) + " " + std::string(noun) + (number == 1 ? "" : "s");
}

}  // namespace lumato::cli
