#include "cli/private_folder.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "base/printable.h"

namespace lumato::cli {

Result<PrivateFolder> PrivateFolder::Make() {
    std::error_code error;
    std::string name = (std::filesystem::temp_directory_path(error) / "lumato-XXXXXX").string();
    if (error || ::mkdtemp(name.data()) == nullptr)
        return Fail(ErrorKind::Unwritable,
                    About(Printable(name), error ? error.message() : SystemMessage(errno)));
    return PrivateFolder(name);
}

PrivateFolder::~PrivateFolder() {
    if (m_path.empty())
        return;
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

}  // namespace lumato::cli
