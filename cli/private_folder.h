// A folder for the length of one call, that nobody else can look into.
//
// Main thread only.
#pragma once

#include <utility>

#include "base/error.h"
#include "base/file.h"

namespace lumato::cli {

class PrivateFolder {
  public:
    // In the system's folder for temporary files. Errors: as its file operations.
    [[nodiscard]] static Result<PrivateFolder> Make();

    PrivateFolder(PrivateFolder&& other) noexcept : m_path(std::exchange(other.m_path, {})) {}
    PrivateFolder& operator=(PrivateFolder&& other) noexcept {
        std::swap(m_path, other.m_path);
        return *this;
    }
    // It goes with all that lies in it.
    ~PrivateFolder();

    [[nodiscard]] const Path& Get() const { return m_path; }

  private:
    explicit PrivateFolder(Path path) : m_path(std::move(path)) {}

    Path m_path;  // empty: given away
};

}  // namespace lumato::cli
