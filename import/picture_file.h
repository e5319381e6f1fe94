// A picture file opened for reading, and what kind of picture it starts like.
//
// One thread at a time per object.
#pragma once

#include <cstdint>
#include <vector>

#include "base/error.h"
#include "base/file.h"

namespace lumato::picture {

enum class Content {
    Nothing,  // no picture
    Jpeg,
    Bitmap,
    Other,  // one of the formats that readers know
};

class PictureFile {
  public:
    // Opens a regular file; nothing else is so much as touched, since opening a pipe can hang and opening a
    // device can change it. Errors (without the file's name): NotFound, Unreadable.
    [[nodiscard]] static Result<PictureFile> Open(const Path& path);

    PictureFile(PictureFile&& other) noexcept;
    PictureFile& operator=(PictureFile&&) = delete;
    ~PictureFile();

    // A file that lies in this one. Requires: it does. Errors: Unreadable.
    [[nodiscard]] Result<PictureFile> Part(std::int64_t offset, std::int64_t length) const;

    // Of the whole file, a part's too.
    [[nodiscard]] int Descriptor() const { return m_fd; }
    [[nodiscard]] std::int64_t Size() const { return m_size; }

    // Up to `into.size()` bytes from `offset` on; fewer only at the end of the file. Errors: Unreadable.
    [[nodiscard]] Result<std::size_t> ReadAt(std::int64_t offset, MutableByteSpan into) const;

  private:
    PictureFile(int fd, std::int64_t size, std::int64_t start = 0) : m_fd(fd), m_start(start), m_size(size) {}

    int m_fd;
    std::int64_t m_start;  // in what is behind the descriptor
    std::int64_t m_size;
};

// By the first bytes of the contents. Errors: Unreadable.
[[nodiscard]] Result<Content> ContentOf(const PictureFile& file);

}  // namespace lumato::picture
