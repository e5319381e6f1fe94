// Picture files for the import tests: every pixel of them is known.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/file.h"
#include "import/import.h"
#include "tests/support/jpeg_writer.h"
#include "tests/support/temporary_folder.h"

namespace lumato::picture {

using Bytes = std::vector<std::uint8_t>;
using Colour = std::array<int, 3>;
using test::JpegOptions, test::MakeJpeg, test::Raw, test::TemporaryFolder;

inline constexpr Colour kRed{255, 0, 0}, kGreen{0, 255, 0}, kBlue{0, 0, 255}, kWhite{255, 255, 255},
    kBlack{0, 0, 0};

// Four quarters of one colour each: red and green above, blue and white below.
Raw Quarters(int width, int height);
Raw Plain(int width, int height, const std::vector<int>& pixel);
Raw Noise(int width, int height, unsigned seed, int bands = 3);

// Files of tests/data/pictures/: see what is written there.
inline Path SampleFile(const std::string& name) {
    return Path(LUMATO_SAMPLES) / name;
}
Bytes Sample(const std::string& name);
// A TIFF or WebP file whose orientation is another.
Bytes WithOrientation(Bytes file, int orientation);
Bytes CmykProfile();

void Put(const Path& file, ByteSpan bytes);
Bytes Get(const Path& file);

// Pixels of an imported picture.
Colour At(const BitmapInfo& info, int x, int y);
// The centre colours of the four quarters: top left, top right, bottom left, bottom right.
std::array<Colour, 4> QuarterColours(const BitmapInfo& info);
bool Near(const Colour& a, const Colour& b, int tolerance);

// The quarters of a picture of Quarters() as `orientation` shows them.
std::array<Colour, 4> OrientedQuarters(int orientation);

// Imports at the scale that is given.
Result<void> Import(const Path& file, BitmapInfo& info, double scale = 1.0, bool flipRows = false);
// "Damaged: cut off ...", or "fine".
std::string Outcome(const Result<void>& result);

void ExpectQuarters(const BitmapInfo& info, const std::array<Colour, 4>& expected, int tolerance = 12);

// A folder, and the picture that was last read.
class ImportTest : public testing::Test {
  protected:
    Result<void> Read(const Path& file, double scale = 1.0, bool flipRows = false) {
        return Import(file, m_info, scale, flipRows);
    }
    Result<void> Read(const Bytes& bytes, double scale = 1.0, bool flipRows = false) {
        Put(m_file, bytes);
        return Read(m_file, scale, flipRows);
    }

    TemporaryFolder m_folder;
    Path m_file = m_folder / "picture";
    BitmapInfo m_info;
};

}  // namespace lumato::picture
