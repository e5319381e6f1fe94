// Measures the composer beside libvips: PSNR against an exact area filter on photographs, aliasing on zone
// plates, and time. Usage: compose_quality PHOTOGRAPH...
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <string>
#include <vector>

#include <vips/vips.h>

#include "picture/add_pictures.h"
#include "picture/bitmap_file.h"
#include "picture/draw_my_image.h"

namespace {

using lumato::picture::BitmapInfo;
using lumato::picture::DrawMyImage;
using lumato::picture::MyImage;
using lumato::picture::Surface;

struct Rgb {
    int width = 0, height = 0;
    std::vector<std::uint8_t> bytes;  // red, green, blue; top row first
};

struct Size {
    int width, height;
};
constexpr Size kLcds[] = {{128, 128}, {320, 240}, {480, 234}, {800, 480}};

Rgb FromVips(VipsImage* image) {
    Rgb rgb{vips_image_get_width(image), vips_image_get_height(image), {}};
    std::size_t size = 0;
    auto* memory = static_cast<std::uint8_t*>(vips_image_write_to_memory(image, &size));
    rgb.bytes.assign(memory, memory + size);
    g_free(memory);
    return rgb;
}

bool LoadPhotograph(const char* name, Rgb& rgb) {
    VipsImage* image = vips_image_new_from_file(name, nullptr);
    if (image == nullptr || vips_image_get_bands(image) != 3)
        return false;
    rgb = FromVips(image);
    g_object_unref(image);
    return true;
}

// The centre of the picture that has the LCD's proportions.
Rgb CropTo(const Rgb& rgb, Size lcd) {
    const double fit =
        std::max(static_cast<double>(lcd.width) / rgb.width, static_cast<double>(lcd.height) / rgb.height);
    const int width = std::min(rgb.width, static_cast<int>(std::lround(lcd.width / fit)));
    const int height = std::min(rgb.height, static_cast<int>(std::lround(lcd.height / fit)));
    Rgb cropped{width, height, {}};
    for (int y = 0; y < height; ++y) {
        const auto* row =
            rgb.bytes.data() + (static_cast<std::ptrdiff_t>(y + (rgb.height - height) / 2) * rgb.width +
                                (rgb.width - width) / 2) *
                                   3;
        cropped.bytes.insert(cropped.bytes.end(), row, row + width * 3);
    }
    return cropped;
}

BitmapInfo AsBitmap(const Rgb& rgb) {
    BitmapInfo info;
    info.width = static_cast<std::uint32_t>(rgb.width);
    info.height = info.heldHeight = rgb.height;
    info.heldWidth = rgb.width;
    info.pixels.reserve(rgb.bytes.size() / 3 * 4);
    for (std::size_t i = 0; i < rgb.bytes.size(); i += 3)
        info.pixels.insert(info.pixels.end(), {0, rgb.bytes[i], rgb.bytes[i + 1], rgb.bytes[i + 2]});
    return info;
}

Rgb Compose(const BitmapInfo& info, Size lcd, double scaleX, double scaleY, float rotate) {
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(lcd.width * lcd.height) * 4);
    const Surface surface{pixels.data(), lcd.width, lcd.height, static_cast<std::size_t>(lcd.width) * 4};
    const MyImage image{180 + rotate, static_cast<float>(-scaleX), static_cast<float>(scaleY), 0, 0, &info};
    const auto w = static_cast<float>(lcd.width);
    const auto h = static_cast<float>(lcd.height);
    DrawMyImage(surface, (580 - w) / 2, (400 - h) / 2, w, h, &image, false);
    Rgb out{lcd.width, lcd.height, {}};
    for (std::size_t i = 0; i < pixels.size(); i += 4)
        out.bytes.insert(out.bytes.end(), {pixels[i + 1], pixels[i + 2], pixels[i + 3]});
    return out;
}

Rgb VipsLanczos(const Rgb& rgb, Size lcd) {
    VipsImage* in = vips_image_new_from_memory(rgb.bytes.data(), rgb.bytes.size(), rgb.width, rgb.height, 3,
                                               VIPS_FORMAT_UCHAR);
    VipsImage* out = nullptr;
    vips_resize(in, &out, static_cast<double>(lcd.width) / rgb.width, "vscale",
                static_cast<double>(lcd.height) / rgb.height, "kernel", VIPS_KERNEL_LANCZOS3, nullptr);
    Rgb result = FromVips(out);
    g_object_unref(out);
    g_object_unref(in);
    return result;
}

// Along one side: the exact overlap of every output pixel with the source pixels.
std::vector<double> AreaAlong(const std::vector<double>& in, int length, int lines, int outLength) {
    std::vector<double> out(static_cast<std::size_t>(outLength * lines), 0);
    const double step = static_cast<double>(length) / outLength;
    for (int i = 0; i < outLength; ++i)
        for (int j = static_cast<int>(i * step);
             j < std::min(length, static_cast<int>(std::ceil((i + 1) * step))); ++j) {
            const double overlap =
                std::min((i + 1) * step, j + 1.0) - std::max(i * step, static_cast<double>(j));
            for (int line = 0; line < lines; ++line)
                out[static_cast<std::size_t>(i * lines + line)] +=
                    overlap / step * in[static_cast<std::size_t>(j * lines + line)];
        }
    return out;
}

std::vector<double> Transpose(const std::vector<double>& in, int rows, int columns) {
    std::vector<double> out(in.size());
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < columns; ++c)
            for (int k = 0; k < 3; ++k)
                out[static_cast<std::size_t>((c * rows + r) * 3 + k)] =
                    in[static_cast<std::size_t>((r * columns + c) * 3 + k)];
    return out;
}

// The exact area filter, the picture stretched to the LCD.
Rgb AreaFilter(const Rgb& rgb, Size lcd) {
    std::vector<double> samples(rgb.bytes.begin(), rgb.bytes.end());
    samples = AreaAlong(samples, rgb.height, rgb.width * 3, lcd.height);
    samples = Transpose(samples, lcd.height, rgb.width);
    samples = AreaAlong(samples, rgb.width, lcd.height * 3, lcd.width);
    samples = Transpose(samples, lcd.width, lcd.height);
    Rgb out{lcd.width, lcd.height, {}};
    for (const double sample : samples)
        out.bytes.push_back(static_cast<std::uint8_t>(std::lround(std::clamp(sample, 0.0, 255.0))));
    return out;
}

// The area filter for a turned picture: the mean of 24 x 24 points in every pixel.
Rgb TurnedAreaFilter(const Rgb& rgb, Size lcd, double scale, double degrees) {
    constexpr int kPoints = 24;
    const double c = std::cos(degrees * std::numbers::pi / 180) / scale;
    const double s = std::sin(degrees * std::numbers::pi / 180) / scale;
    Rgb out{lcd.width, lcd.height, {}};
    for (int i = 0; i < lcd.width * lcd.height; ++i) {
        long sum[3] = {0, 0, 0};
        for (int k = 0; k < kPoints * kPoints; ++k) {
            const double x = i % lcd.width + (k % kPoints + 0.5) / kPoints - lcd.width / 2.0;
            const double y = i / lcd.width + (k / kPoints + 0.5) / kPoints - lcd.height / 2.0;
            const double u = std::floor(x * c + y * s + rgb.width / 2.0);
            const double v = std::floor(-x * s + y * c + rgb.height / 2.0);
            if (u < 0 || v < 0 || u >= rgb.width || v >= rgb.height)
                continue;
            const auto at = (static_cast<std::size_t>(v) * static_cast<std::size_t>(rgb.width) +
                             static_cast<std::size_t>(u)) *
                            3;
            for (std::size_t b = 0; b < 3; ++b)
                sum[b] += rgb.bytes[at + b];
        }
        for (const long channel : sum)
            out.bytes.push_back(
                static_cast<std::uint8_t>((channel + kPoints * kPoints / 2) / (kPoints * kPoints)));
    }
    return out;
}

double Psnr(const Rgb& a, const Rgb& b) {
    double error = 0;
    for (std::size_t i = 0; i < a.bytes.size(); ++i)
        error += (a.bytes[i] - b.bytes[i]) * (a.bytes[i] - b.bytes[i]);
    return 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.bytes.size()) / std::max(error, 1.0));
}

Rgb ZonePlate(int size) {
    Rgb plate{size, size, {}};
    for (int i = 0; i < size * size; ++i) {
        const double x = i % size + 0.5 - size / 2.0;
        const double y = i / size + 0.5 - size / 2.0;
        // Half a cycle per pixel at the middle of each side.
        const double value = 127.5 + 127.5 * std::cos(std::numbers::pi * (x * x + y * y) / size);
        plate.bytes.insert(plate.bytes.end(), 3, static_cast<std::uint8_t>(std::lround(value)));
    }
    return plate;
}

// What is left of the rings finer than this many cycles per pixel of the reduced picture, against the rings:
// a little more than the half that its grid can carry, for no filter ends there at once.
constexpr double kTooFine = 0.6;

// Along its rows or its columns, which is what the grid cannot carry; or in whatever direction, some of which
// it can.
enum class Finer { AlongTheGrid, InAnyDirection };

double Aliasing(const Rgb& out, double reduction, Finer finer) {
    double left = 0;
    int count = 0;
    for (int i = 0; i < out.width * out.height; ++i) {
        const double x = i % out.width + 0.5 - out.width / 2.0;
        const double y = i / out.width + 0.5 - out.height / 2.0;
        // Beyond the circle, a turned plate has ended.
        const double radius = std::hypot(x, y);
        // The rings get finer from the middle outwards.
        const double place = finer == Finer::AlongTheGrid ? std::max(std::abs(x), std::abs(y)) : radius;
        if (place / out.width * reduction <= kTooFine || radius > out.width / 2.0 - 1)
            continue;
        const double value = out.bytes[static_cast<std::size_t>(i) * 3] - 127.5;
        left += value * value;
        ++count;
    }
    return 10 * std::log10(std::max(left, 1e-9) / count / (127.5 * 127.5 / 2));
}

void MeasurePhotographs(const std::vector<Rgb>& photographs) {
    std::printf("photographs, PSNR against the exact area filter (mean / least, dB)\n");
    double oursAll = 0, vipsAll = 0;
    for (const Size lcd : kLcds) {
        double ours = 0, vips = 0, oursLeast = 999, vipsLeast = 999;
        for (const Rgb& photograph : photographs) {
            const Rgb cropped = CropTo(photograph, lcd);
            const Rgb exact = AreaFilter(cropped, lcd);
            const double scaleX = static_cast<double>(lcd.width) / cropped.width;
            const double scaleY = static_cast<double>(lcd.height) / cropped.height;
            const double a = Psnr(exact, Compose(AsBitmap(cropped), lcd, scaleX, scaleY, 0));
            const double b = Psnr(exact, VipsLanczos(cropped, lcd));
            ours += a / static_cast<double>(photographs.size());
            vips += b / static_cast<double>(photographs.size());
            oursLeast = std::min(oursLeast, a);
            vipsLeast = std::min(vipsLeast, b);
        }
        std::printf("  %dx%d: composer %.2f / %.2f, vips lanczos3 %.2f / %.2f\n", lcd.width, lcd.height, ours,
                    oursLeast, vips, vipsLeast);
        oursAll += ours / std::size(kLcds);
        vipsAll += vips / std::size(kLcds);
    }
    std::printf("  all: composer %.2f, vips lanczos3 %.2f\n", oursAll, vipsAll);
}

void MeasureTurned(const std::vector<Rgb>& photographs) {
    std::printf("the same, turned, 320x240 (mean / least, dB)\n");
    for (const float degrees : {5.0F, 30.0F, 45.0F, 117.0F}) {
        const Size lcd{320, 240};
        double mean = 0, least = 999;
        for (const Rgb& photograph : photographs) {
            const double scale = std::max(400.0 / photograph.width, 400.0 / photograph.height);
            const double psnr = Psnr(TurnedAreaFilter(photograph, lcd, scale, degrees),
                                     Compose(AsBitmap(photograph), lcd, scale, scale, degrees));
            mean += psnr / static_cast<double>(photographs.size());
            least = std::min(least, psnr);
        }
        std::printf("  %.0f degrees: %.2f / %.2f\n", static_cast<double>(degrees), mean, least);
    }
}

// From the file to the bitmap, as pictures are added: import at a reduced size included.
void MeasureFiles(char** names, const std::vector<Rgb>& photographs) {
    std::printf("from file to fitted bitmap (mean / least, dB)\n");
    const lumato::Path bitmap = std::filesystem::temp_directory_path() / "compose_quality.bmp";
    for (const Size lcd : kLcds)
        for (const int degrees : {0, 30}) {
            double mean = 0, least = 999;
            for (std::size_t i = 0; i < photographs.size(); ++i) {
                const Rgb& photograph = photographs[i];
                lumato::picture::Pose pose;
                pose.rotate = degrees;
                if (!lumato::picture::ComposeFile(names[i], lcd.width, lcd.height, pose, bitmap))
                    continue;
                const auto pixels = lumato::picture::LoadPicFromDir(bitmap, lcd.width, lcd.height).value();
                Rgb composed{lcd.width, lcd.height, {}};
                for (int y = 0; y < lcd.height; ++y)
                    for (int x = 0; x < lcd.width; ++x) {
                        const std::size_t at = static_cast<std::size_t>(lcd.height - 1 - y) *
                                                   lumato::picture::BitmapStride(lcd.width) +
                                               static_cast<std::size_t>(x) * 3;
                        composed.bytes.insert(composed.bytes.end(),
                                              {pixels[at + 2], pixels[at + 1], pixels[at]});
                    }
                const double scale = lumato::store::Store().TheSmallestValue / 100.0;
                const double psnr = Psnr(TurnedAreaFilter(photograph, lcd, scale, degrees), composed);
                mean += psnr / static_cast<double>(photographs.size());
                least = std::min(least, psnr);
            }
            std::printf("  %dx%d turned by %d: %.2f / %.2f\n", lcd.width, lcd.height, degrees, mean, least);
        }
    std::filesystem::remove(bitmap);
}

// The middle of the plate reduced by libvips, and turned afterwards, as programs do.
Rgb VipsTurned(const Rgb& plate, Size lcd, double degrees) {
    const Rgb reduced = VipsLanczos(plate, lcd);
    if (degrees == 0)
        return reduced;
    VipsImage* in = vips_image_new_from_memory(reduced.bytes.data(), reduced.bytes.size(), reduced.width,
                                               reduced.height, 3, VIPS_FORMAT_UCHAR);
    VipsInterpolate* bicubic = vips_interpolate_new("bicubic");
    VipsImage *turned = nullptr, *out = nullptr;
    vips_similarity(in, &turned, "angle", degrees, "interpolate", bicubic, nullptr);
    vips_extract_area(turned, &out, (vips_image_get_width(turned) - lcd.width) / 2,
                      (vips_image_get_height(turned) - lcd.height) / 2, lcd.width, lcd.height, nullptr);
    Rgb result = FromVips(out);
    for (GObject* object : {G_OBJECT(out), G_OBJECT(turned), G_OBJECT(bicubic), G_OBJECT(in)})
        g_object_unref(object);
    return result;
}

// The same by ImageMagick's convert; nothing where it is not installed.
Rgb MagickTurned(const Rgb& plate, Size lcd, double degrees) {
    const std::string in = std::filesystem::temp_directory_path() / "compose_quality.ppm";
    const std::string out = std::filesystem::temp_directory_path() / "compose_quality.out.ppm";
    std::ofstream(in, std::ios::binary) << "P6 " << plate.width << " " << plate.height << " 255\n"
                                        << std::string(plate.bytes.begin(), plate.bytes.end());
    const std::string size = std::to_string(lcd.width) + "x" + std::to_string(lcd.height) + "!";
    const std::string turn = degrees == 0 ? "" : " -distort SRT " + std::to_string(degrees);
    Rgb result;
    if (std::system(("convert " + in + " -resize " + size + turn + " " + out).c_str()) == 0)
        LoadPhotograph(out.c_str(), result);
    std::filesystem::remove(in);
    std::filesystem::remove(out);
    return result;
}

void MeasureZonePlates() {
    std::printf(
        "zone plates, what is left of rings finer than %.1f cycles per pixel along the LCD's rows or "
        "columns (in any direction), dB\n",
        kTooFine);
    // Where the level of a turned picture has just enough pixels, too: 5.25 and 10.5.
    for (const double reduction : {5.0, 5.25, 7.0, 10.0, 10.5, 14.0, 20.0}) {
        const Size lcd{96, 96};
        const Rgb plate = ZonePlate(static_cast<int>(96 * reduction));
        const BitmapInfo info = AsBitmap(plate);
        const auto print = [&](const char* name, const Rgb& rgb) {
            if (!rgb.bytes.empty())
                std::printf("  %s %.1f (%.1f)", name, Aliasing(rgb, reduction, Finer::AlongTheGrid),
                            Aliasing(rgb, reduction, Finer::InAnyDirection));
        };
        for (const float degrees : {0.0F, 10.0F, 30.0F, 45.0F}) {
            std::printf("  1/%.2f turned by %.0f:", reduction, static_cast<double>(degrees));
            print("composer", Compose(info, lcd, 1 / reduction, 1 / reduction, degrees));
            print("vips", VipsTurned(plate, lcd, static_cast<double>(degrees)));
            print("ImageMagick", MagickTurned(plate, lcd, static_cast<double>(degrees)));
            if (degrees == 0)
                print("area", AreaFilter(plate, lcd));
            std::printf("\n");
        }
    }
}

void MeasureTimes() {
    std::printf("processor time, a source of 6000 x 4000, best of 5 (ms)\n");
    Rgb large{6000, 4000, {}};
    large.bytes.resize(std::size_t{6000} * 4000 * 3);
    for (std::size_t i = 0; i < large.bytes.size(); ++i)
        large.bytes[i] = static_cast<std::uint8_t>(i * 2654435761U >> 24);
    const BitmapInfo info = AsBitmap(large);
    for (const Size lcd : kLcds)
        for (const float degrees : {0.0F, 90.0F, 30.0F}) {
            const double scale = std::max(lcd.width / 6000.0, lcd.height / 4000.0);
            double best = 1e9;
            for (int run = 0; run < 5; ++run) {
                const std::clock_t start = std::clock();
                Compose(info, lcd, scale, scale, degrees);
                best = std::min(best, static_cast<double>(std::clock() - start) * 1000 / CLOCKS_PER_SEC);
            }
            std::printf("  %dx%d turned by %.0f: %.1f\n", lcd.width, lcd.height, static_cast<double>(degrees),
                        best);
        }
}

}  // namespace

int main(int argc, char** argv) {
    if (VIPS_INIT(argv[0]) != 0)
        return 1;
    vips_cache_set_max(0);  // files of one name are different pictures here
    std::vector<Rgb> photographs;
    for (int i = 1; i < argc; ++i) {
        Rgb rgb;
        if (!LoadPhotograph(argv[i], rgb)) {
            std::fprintf(stderr, "%s: not a photograph in RGB\n", argv[i]);
            return 1;
        }
        photographs.push_back(std::move(rgb));
    }
    if (!photographs.empty()) {
        MeasurePhotographs(photographs);
        MeasureTurned(photographs);
        MeasureFiles(argv + 1, photographs);
    }
    MeasureZonePlates();
    MeasureTimes();
    return 0;
}
