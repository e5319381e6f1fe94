#include "import/jpeg_coefficients.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <string>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "import/messages.h"

namespace lumato::picture {
namespace {

constexpr std::int64_t kMostInMemory = 160 * 1024 * 1024;
// How much of an array in the file may be mapped before it is let go; it stays in the file.
constexpr std::size_t kWindow = 4 * 1024 * 1024;

std::size_t RoundedUpToPages(std::size_t size) {
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    return (size + page - 1) / page * page;
}

// A file without a name, which is gone however the program ends. -1 when there is no folder for it.
int OpenTemporary() {
    const char* chosen = std::getenv("TMPDIR");
    // /var/tmp first: /tmp is memory on many systems.
    for (const char* folder : {chosen, "/var/tmp", "/tmp"}) {
        if (!folder || !*folder)
            continue;
        const int fd = ::open(folder, O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
        if (fd >= 0)
            return fd;
    }
    return -1;
}

}  // namespace

struct JpegCoefficients::Array {
    std::size_t rowBytes = 0;
    std::size_t offset = 0;
    std::size_t size = 0;
    std::size_t touched = 0;
    std::uint8_t* base = nullptr;
    std::vector<JBLOCKROW> rows;
};

JpegCoefficients::JpegCoefficients() = default;

JpegCoefficients::~JpegCoefficients() {
    if (m_mapped)
        ::munmap(m_mapped, m_mappedSize);
}

void JpegCoefficients::Install(j_decompress_ptr jpeg, Raise raise) {
    m_raise = std::move(raise);
    m_realizeOthers = jpeg->mem->realize_virt_arrays;
    jpeg->mem->request_virt_barray = RequestArray;
    jpeg->mem->realize_virt_arrays = RealizeArrays;
    jpeg->mem->access_virt_barray = AccessArray;
}

JpegCoefficients::Array* JpegCoefficients::Request(std::int64_t blocksPerRow, std::int64_t rows) {
    auto array = std::make_unique<Array>();
    array->rowBytes = static_cast<std::size_t>(blocksPerRow) * sizeof(JBLOCK);
    array->size = RoundedUpToPages(array->rowBytes * static_cast<std::size_t>(rows));
    array->offset = m_mappedSize;
    array->rows.resize(static_cast<std::size_t>(rows));
    m_mappedSize += array->size;
    m_bytes = static_cast<std::int64_t>(m_mappedSize);
    m_arrays.push_back(std::move(array));
    return m_arrays.back().get();
}

std::int64_t JpegCoefficients::InMemory(std::int64_t bytes) {
    return bytes > kMostInMemory ? static_cast<std::int64_t>(kWindow) : bytes;
}

// Space in the file is claimed at once: a disk that fills up later would otherwise kill the program.
bool JpegCoefficients::Map() {
    m_inFile = m_bytes > kMostInMemory;
    int fd = -1;
    if (m_inFile) {
        fd = OpenTemporary();
        if (fd < 0 || ::posix_fallocate(fd, 0, m_bytes) != 0) {
            if (fd >= 0)
                ::close(fd);
            return false;
        }
    }
    void* const mapped = ::mmap(nullptr, m_mappedSize, PROT_READ | PROT_WRITE,
                                m_inFile ? MAP_SHARED : MAP_PRIVATE | MAP_ANONYMOUS, fd, 0);
    if (fd >= 0)
        ::close(fd);
    if (mapped == MAP_FAILED)
        return false;
    m_mapped = static_cast<std::uint8_t*>(mapped);
    return true;
}

void JpegCoefficients::Realize() {
    if (m_mapped || m_mappedSize == 0)
        return;
    if (m_bytes > m_limit)
        m_raise(ErrorKind::TooLarge, {"BEYOND_PROGRESSIVE", "too large for a progressive JPEG file"});
    if (!Map())
        m_raise(ErrorKind::TooLarge,
                {"NO_TEMPORARY_ROOM", "too large: no room for its temporary data on the disk"});
    for (const auto& array : m_arrays) {
        array->base = m_mapped + array->offset;
        for (std::size_t row = 0; row < array->rows.size(); ++row)
            array->rows[row] = reinterpret_cast<JBLOCKROW>(array->base + row * array->rowBytes);
    }
}

// libjpeg runs through each array from top to bottom, scan by scan.
JBLOCKROW* JpegCoefficients::Access(Array& array, std::size_t startRow, std::size_t rowCount) {
    if (startRow > array.rows.size() || rowCount > array.rows.size() - startRow)
        m_raise(ErrorKind::Damaged, {"COEFFICIENTS_OUTSIDE", "broken: coefficients outside of the picture"});
    array.touched += rowCount * array.rowBytes;
    if (m_inFile && array.touched > kWindow) {
        ::madvise(array.base, array.size, MADV_DONTNEED);
        array.touched = rowCount * array.rowBytes;
    }
    return array.rows.data() + startRow;
}

namespace {

JpegCoefficients& Of(j_common_ptr jpeg) {
    return *static_cast<JpegCoefficients*>(jpeg->client_data);
}

}  // namespace

// libjpeg knows its arrays as pointers to a type that only its own memory manager defines; to everybody else
// they are names, and ours lead to an Array.
jvirt_barray_ptr JpegCoefficients::RequestArray(j_common_ptr jpeg, int /*pool*/, boolean /*preZero*/,
                                                JDIMENSION blocksPerRow, JDIMENSION rows,
                                                JDIMENSION /*maxAccess*/) {
    JpegCoefficients& own = Of(jpeg);
    Array* array = nullptr;
    try {
        array = own.Request(blocksPerRow, rows);
    } catch (const std::bad_alloc&) {  // raised outside: what is caught here would never be let go of
    }
    if (array == nullptr)
        own.m_raise(ErrorKind::TooLarge, kBeyondMemory);
    return reinterpret_cast<jvirt_barray_ptr>(array);
}

void JpegCoefficients::RealizeArrays(j_common_ptr jpeg) {
    Of(jpeg).m_realizeOthers(jpeg);
    Of(jpeg).Realize();
}

JBLOCKARRAY JpegCoefficients::AccessArray(j_common_ptr jpeg, jvirt_barray_ptr array, JDIMENSION startRow,
                                          JDIMENSION rowCount, boolean /*writable*/) {
    return Of(jpeg).Access(*reinterpret_cast<Array*>(array), startRow, rowCount);
}

}  // namespace lumato::picture
