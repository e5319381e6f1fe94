// The flash of a virtual frame: a file that holds exactly the flash's bytes, or memory alone for tests.
//
// The object owns the file and its lock, and keeps none of its bytes. One thread at a time.
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

enum class ImageUse { ReadAndWrite, Read };

class FlashImage {
  public:
    // Opens the file for that use (Write() fails without the permission) and locks it against other programs
    // (flock on the file itself) until Close(). Errors: Busy, NotFound, Unreadable or Unwritable (no
    // permission), Unsupported (not a file, or of a size that no flash has). Nothing is changed.
    [[nodiscard]] static Result<FlashImage> Open(const Path& path, ImageUse use = ImageUse::ReadAndWrite);

    // A flash without a file. Requires: a valid size; a name of its own for each of those on one bus.
    [[nodiscard]] static FlashImage InMemory(std::vector<std::uint8_t> bytes,
                                             std::string name = "flash in memory");

    FlashImage(FlashImage&& other) noexcept;
    FlashImage& operator=(FlashImage&& other) noexcept;
    ~FlashImage();

    [[nodiscard]] std::size_t Size() const { return m_size; }
    // The file's name, for people.
    [[nodiscard]] const std::string& Name() const { return m_name; }

    // The file itself, whatever names it has; empty for a flash without one.
    [[nodiscard]] std::string FileIdentity() const;

    // The bytes from `offset` on. Errors: Unreadable (the disk fails, or somebody cut the file short).
    // Requires: the range lies inside.
    [[nodiscard]] Result<void> Read(std::size_t offset, MutableByteSpan bytes) const;

    // Replaces the bytes from `offset` on; they are in the file when it returns. After an error (Unwritable,
    // such as a full disk) the flash holds what could still be written.
    // Requires: the range lies inside.
    [[nodiscard]] Result<void> Write(std::size_t offset, ByteSpan bytes);

    // Gives up the lock, so that the file can be opened again; Write() fails from now on, Read() goes on.
    void Close();

  private:
    friend Result<std::vector<std::uint8_t>> ReadFlashImage(const Path& path);
    FlashImage(int fd, std::string name, std::size_t size, std::vector<std::uint8_t> memory);

    int m_fd = -1;  // of the file, if there is one
    bool m_closed = false;
    std::string m_name;
    std::size_t m_size = 0;
    std::vector<std::uint8_t> m_memory;  // otherwise
};

// The bytes of an image file, for looking only: no lock is taken, a frame in use can be looked at too.
// Errors as for Open(), without Busy and Unwritable.
[[nodiscard]] Result<std::vector<std::uint8_t>> ReadFlashImage(const Path& path);

}  // namespace lumato::vframe
