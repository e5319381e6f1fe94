// The error value of every operation whose result is not a plain yes or no.
//
// An operation returns Result<T>: its value, or an Error. Tests and callers look at the kind; people read
// the message. Each layer may add what it was doing in front with Context(). Values; any thread.
#pragma once

#include <string>
#include <utility>

#include <tl/expected.hpp>

#include "base/phrase.h"

namespace lumato {

enum class ErrorKind {
    NotFound,     // a file, folder or device is not there
    Unreadable,   // it is there and cannot be read: permission, i/o error, a folder in a file's place
    Unwritable,   // it cannot be created or written: permission, disk full, i/o error
    Unsupported,  // readable, but nothing that we understand: a text file given as a picture
    Damaged,      // of a kind that we understand, with contents that cannot be
    TooLarge,     // beyond a limit of size or memory
    Refused,      // the frame said no, or what was asked would be unsafe
    Gone,         // the device has vanished
    Busy,         // another program holds it
};

struct Error {
    ErrorKind kind = ErrorKind::Refused;
    Phrase message;  // a sentence for people, without a final full stop
    Phrase cause{};  // why, where the message alone does not say; may be empty

    bool operator==(const Error&) const = default;
};

template <class T>
using Result = tl::expected<T, Error>;

// Shorthand for returning an error: return Fail(ErrorKind::Damaged, Phrase("KEY", "...")).
[[nodiscard]] tl::unexpected<Error> Fail(ErrorKind kind, Phrase message);

// The same error with what was being done in front: "picture.jpg: not a picture".
[[nodiscard]] Error Context(Phrase doing, Error error);

// The text that goes with an errno value, in the user's locale.
[[nodiscard]] std::string SystemMessage(int errorNumber);

// The kind that an errno value of a file operation stands for; `writing` tells EACCES of a reader from that
// of a writer.
[[nodiscard]] ErrorKind KindOfErrno(int errorNumber, bool writing);

// Reasons that several rooms have.
inline constexpr Words kNoMemory{"NO_MEMORY_FOR_PICTURE", "not enough memory for the picture"};
inline constexpr Words kUnplugged{"UNPLUGGED", "unplugged"};
inline constexpr Words kNotPlainFile{"NOT_A_PLAIN_FILE", "not a plain file"};

}  // namespace lumato

#define LUMATO_CONCAT_INNER(a, b) a##b
#define LUMATO_CONCAT(a, b) LUMATO_CONCAT_INNER(a, b)

// NOLINTBEGIN(bugprone-macro-parentheses): a declaration cannot stand in parentheses.
// LUMATO_TRY(auto bytes, ReadFile(path)): declares and fills `bytes`, or returns the error from the function.
#define LUMATO_TRY(declaration, expression)                                                            \
    auto LUMATO_CONCAT(lumatoTry, __LINE__) = (expression);                                            \
    if (!LUMATO_CONCAT(lumatoTry, __LINE__))                                                           \
        return tl::unexpected<::lumato::Error>(std::move(LUMATO_CONCAT(lumatoTry, __LINE__)).error()); \
    declaration = std::move(*LUMATO_CONCAT(lumatoTry, __LINE__))
// NOLINTEND(bugprone-macro-parentheses)

// The same for an operation without a value.
#define LUMATO_TRY_VOID(expression)                                                   \
    do {                                                                              \
        auto lumatoTryVoid = (expression);                                            \
        if (!lumatoTryVoid)                                                           \
            return tl::unexpected<::lumato::Error>(std::move(lumatoTryVoid).error()); \
    } while (false)
