// The picture files that `add` is given: by name, from standard input (-), or by a list of names (@LIST).
//
// Main thread only.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/error.h"
#include "base/file.h"

namespace lumato::cli {

class AddSources {
  public:
    // Reads the lists and standard input. Errors: one cannot be read, or names nothing; Unsupported when
    // standard input is wanted twice.
    [[nodiscard]] static Result<AddSources> Read(const std::vector<Path>& words);

    ~AddSources();
    AddSources(AddSources&& other) noexcept;
    AddSources& operator=(AddSources&&) = delete;

    // All of them, in the order given.
    [[nodiscard]] const std::vector<Path>& Files() const { return m_files; }
    // What people call the file.
    [[nodiscard]] std::string NameOf(const Path& file) const;

  private:
    AddSources() = default;

    Result<void> TakeInput();
    Result<void> TakeList(const std::string& name);

    std::vector<Path> m_files;
    bool m_inputTaken = false;
    int m_input = -1;  // what standard input brought: a file in memory
    Path m_inputFile;  // and its name
};

}  // namespace lumato::cli
