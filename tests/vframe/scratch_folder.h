// A folder of its own for one test, gone afterwards.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "base/file.h"

namespace lumato::vframe {

class ScratchFolder {
  public:
    ScratchFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "lumato-vframe-XXXXXX").string();
        m_path = ::mkdtemp(name.data());
    }
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    Path operator/(const std::string& name) const { return m_path / name; }
    const Path& Root() const { return m_path; }
    // The path of a new file with these bytes.
    Path Write(const std::string& name, ByteSpan bytes) const {
        EXPECT_TRUE(WriteFile(m_path / name, bytes));
        return m_path / name;
    }

  private:
    Path m_path;
};

}  // namespace lumato::vframe
