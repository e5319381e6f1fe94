// The flash of a virtual frame: a file that holds exactly the flash's bytes, or memory alone for tests.
//
// The object owns the file and its lock. One thread at a time.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/bytes.h"
#include "base/error.h"
#include "base/file.h"

namespace lumato::vframe {

inline constexpr std::size_t kFlashGranule = 4096;  // sizes are multiples of the smallest erase unit
inline constexpr std::size_t kSmallestFlash = 131072;
inline constexpr std::size_t kLargestFlash = 16777216;  // what 24-bit addresses reach

class FlashImage {
  public:
    // Opens the file for reading and writing and locks it against other programs (flock on the file itself)
    // until Close(). Errors: Busy, NotFound, Unreadable or Unwritable (no permission), Unsupported (not a
    // file, or of a size that no flash has). Nothing is changed.
    [[nodiscard]] static Result<FlashImage> Open(const Path& path);

    // A flash without a file. Requires: a valid size; a name of its own for each of those on one bus.
    [[nodiscard]] static FlashImage InMemory(std::vector<std::uint8_t> bytes,
                                             std::string name = "flash in memory");

    FlashImage(FlashImage&& other) noexcept;
    FlashImage& operator=(FlashImage&& other) noexcept;
    ~FlashImage();

    // The whole flash; valid until the next call that is not const.
    [[nodiscard]] ByteSpan Bytes() const { return m_bytes; }
    [[nodiscard]] std::size_t Size() const { return m_bytes.size(); }
    // The file's name, for people.
    [[nodiscard]] const std::string& Name() const { return m_name; }

    // Replaces the bytes from `offset` on; they are in the file when it returns. After an error (Unwritable,
    // such as a full disk) flash and file hold the same: what could still be written.
    // Requires: the range lies inside.
    [[nodiscard]] Result<void> Write(std::size_t offset, ByteSpan bytes);

    // Lets go of the file and its lock, so that it can be opened again; Write() fails from now on. The bytes
    // stay.
    void Close();

  private:
    FlashImage(int fd, std::string name, std::vector<std::uint8_t> bytes);

    int m_fd = -1;
    bool m_closed = false;
    std::string m_name;
    std::vector<std::uint8_t> m_bytes;
};

// The bytes of an image file, for looking only: no lock is taken, a frame in use can be looked at too.
// Errors as for Open(), without Busy and Unwritable.
[[nodiscard]] Result<std::vector<std::uint8_t>> ReadFlashImage(const Path& path);

}  // namespace lumato::vframe
