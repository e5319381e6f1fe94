// A folder of its own for each test, removed afterwards.
#pragma once

#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include "base/file.h"

namespace lumato::picture {

class FolderTest : public testing::Test {
  protected:
    void SetUp() override {
        m_folder = std::filesystem::temp_directory_path() / ("lumato-picture-" + std::to_string(::getpid()));
        std::filesystem::create_directories(m_folder);
    }
    void TearDown() override { std::filesystem::remove_all(m_folder); }

    Path In(const char* name) const { return m_folder / name; }
    // How many entries the folder has: temporary files must not stay behind.
    std::ptrdiff_t Entries() const {
        return std::distance(std::filesystem::directory_iterator(m_folder),
                             std::filesystem::directory_iterator());
    }

    Path m_folder;
};

}  // namespace lumato::picture
