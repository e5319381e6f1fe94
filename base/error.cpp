#include "base/error.h"

#include <cerrno>
#include <system_error>

namespace lumato {

tl::unexpected<Error> Fail(ErrorKind kind, Phrase message) {
    return tl::unexpected<Error>(Error{kind, std::move(message)});
}

Error Context(Phrase doing, Error error) {
    error.message = About(std::move(doing), std::move(error.message));
    return error;
}

std::string SystemMessage(int errorNumber) {
    return std::generic_category().message(errorNumber);
}

ErrorKind KindOfErrno(int errorNumber, bool writing) {
    switch (errorNumber) {
        case ENOENT:
        case ENOTDIR:
            return ErrorKind::NotFound;
        case ENOMEM:
        case EFBIG:
            return ErrorKind::TooLarge;
        case EBUSY:
        case EWOULDBLOCK:
            return ErrorKind::Busy;
        case ENODEV:
        case ENXIO:
            return ErrorKind::Gone;
        default:
            return writing ? ErrorKind::Unwritable : ErrorKind::Unreadable;
    }
}

}  // namespace lumato
