// A folder of a test's own, removed with all it holds at the test's end, and plain reading and writing of
// bytes.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace lumato::test {

// Plain stream reading and writing, so that tests of the file functions do not judge themselves.
inline void PutBytes(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    for (const std::uint8_t byte : bytes)
        file.put(static_cast<char>(byte));
}

inline std::vector<std::uint8_t> TakeBytes(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::vector<std::uint8_t> bytes;
    for (char byte = 0; file.get(byte);)
        bytes.push_back(static_cast<std::uint8_t>(byte));
    return bytes;
}

class TemporaryFolder {
  public:
    explicit TemporaryFolder(const std::filesystem::path& parent = std::filesystem::temp_directory_path()) {
        std::string name = (parent / "lumato-test-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr)
            throw std::runtime_error("no temporary folder");
        m_path = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& Get() const { return m_path; }
    std::filesystem::path operator/(const std::filesystem::path& name) const { return m_path / name; }
    // The path of a new file with these bytes.
    std::filesystem::path Put(const std::filesystem::path& name,
                              const std::vector<std::uint8_t>& bytes) const {
        PutBytes(m_path / name, bytes);
        return m_path / name;
    }
    std::size_t CountEntries() const {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(m_path), {}));
    }

  private:
    std::filesystem::path m_path;
};

}  // namespace lumato::test
