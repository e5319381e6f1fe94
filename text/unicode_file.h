// A whole UTF-16 little-endian text file in memory, handed out line by line.
//
// A line ends at the four bytes 0D 00 0A 00; a lone CR or LF ends nothing. One thread per object.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumato::text {

// What loading and reading answer; CIniFile hands them on.
enum ResultCode : int {
    kSuccess = 0,
    kCannotOpen = 1,     // not there, no plain file, not readable, or beyond kLargestFile
    kNotUtf16 = 7,       // does not begin with FF FE
    kLineTooLong = 8,    // longer than the caller's buffer
    kNoLine = 10,        // the read position is not within the data
    kUnknownOrigin = 11  // of a seek
};

class CUnicodeFile {
  public:
    enum SeekPosition : int { kSeekBegin = 0, kSeekCurrent = 1, kSeekEnd = 2 };

    // A path field holds this many bytes, the closing NUL among them.
    static constexpr std::size_t kPathBytes = 512;
    // No language file is near this size, and each look-up reads the file whole: beyond it, a file counts as
    // unreadable.
    static constexpr std::uint32_t kLargestFile = 16 << 20;

    // Reads the whole file, byte-order mark included, and stands at its first byte afterwards. On kCannotOpen
    // and kNotUtf16 the object is empty. A folder, pipe or device is never waited for.
    int Load(const char* path);

    // Sets the read position to origin + offset, within the data or not.
    int Seek(long offset, SeekPosition origin);

    // Copies the next line, without its terminator, to `text`, which has room for `capacity` bytes. `length`
    // gets the line's length in bytes, also on kLineTooLong, which leaves the position where it was.
    int ReadLine(unsigned char* text, int capacity, int& length);

    // The distance in bytes from the read position to the next terminator, -1 without one. Every byte
    // position counts, not only every code unit.
    [[nodiscard]] int GetNextLineOffset() const;

    // Turns `length` bytes of little-endian code units into the host's byte order, in place.
    static void UpToLowBytes(unsigned char* text, int length);

  private:
    bool IsWithinData() const;

    std::array<char, kPathBytes> m_path{};
    std::vector<std::uint8_t> m_buffer;
    std::int64_t m_current = 0;  // offset into m_buffer, or outside of it after a seek
};

}  // namespace lumato::text
