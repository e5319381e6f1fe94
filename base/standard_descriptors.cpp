#include "base/standard_descriptors.h"

#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

namespace lumato {

void OccupyStandardDescriptors() {
    // A descriptor that only names a place fails reads and writes alike, EBADF as if it were closed, and the
    // root is there where /dev/null is not.
    int fd = -1;
    do {
        fd = ::open("/", O_PATH);
    } while (fd >= 0 && fd <= STDERR_FILENO);
    if (fd < 0)
        std::_Exit(EXIT_FAILURE);
    ::close(fd);
}

}  // namespace lumato
