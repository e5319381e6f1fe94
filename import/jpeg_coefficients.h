// The coefficients of a picture that comes in several scans, which libjpeg keeps whole: 2 bytes per sample, a
// progressive picture of 100 megapixels takes 300 MB. Here they lie in memory up to a bound and beyond it in
// a temporary file, of which only a window is mapped at any time.
//
// One thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

#include <jpeglib.h>

#include "base/error.h"

namespace lumato::picture {

class JpegCoefficients {
  public:
    using Raise = std::function<void(ErrorKind kind, const Words& reason)>;

    JpegCoefficients();
    ~JpegCoefficients();
    JpegCoefficients(const JpegCoefficients&) = delete;
    JpegCoefficients& operator=(const JpegCoefficients&) = delete;

    // Takes the place of the coefficient arrays of `jpeg`'s memory manager. Requires: the object's
    // client_data points to this; `raise` does not return.
    void Install(j_decompress_ptr jpeg, Raise raise);

    // Refuse to keep more than this many bytes.
    void SetLimit(std::int64_t bytes) { m_limit = bytes; }

    [[nodiscard]] std::int64_t Bytes() const { return m_bytes; }
    // How much of so many bytes lies in memory.
    [[nodiscard]] static std::int64_t InMemory(std::int64_t bytes);

  private:
    struct Array;

    Array* Request(std::int64_t blocksPerRow, std::int64_t rows);
    void Realize();
    JBLOCKROW* Access(Array& array, std::size_t startRow, std::size_t rowCount);
    bool Map();

    static jvirt_barray_ptr RequestArray(j_common_ptr jpeg, int pool, boolean preZero,
                                         JDIMENSION blocksPerRow, JDIMENSION rows, JDIMENSION maxAccess);
    static void RealizeArrays(j_common_ptr jpeg);
    static JBLOCKARRAY AccessArray(j_common_ptr jpeg, jvirt_barray_ptr array, JDIMENSION startRow,
                                   JDIMENSION rowCount, boolean writable);

    void (*m_realizeOthers)(j_common_ptr) = nullptr;
    std::vector<std::unique_ptr<Array>> m_arrays;
    Raise m_raise;
    std::int64_t m_limit = 0;
    std::int64_t m_bytes = 0;
    std::uint8_t* m_mapped = nullptr;
    std::size_t m_mappedSize = 0;
    bool m_inFile = false;
};

}  // namespace lumato::picture
