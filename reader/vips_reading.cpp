// The picture-reader module: libvips behind the table of vips_module.h. Nothing else of this program is in
// it.
#include "import/vips_module.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <semaphore>
#include <shared_mutex>
#include <string_view>
#include <thread>

#include <unistd.h>
#include <vips/vips.h>

namespace lumato::picture {
namespace {

std::atomic<void (*)(const char*)> s_logLine{nullptr};

// Owns a reference to a GObject of libvips.
struct Unreference {
    void operator()(gpointer object) const { g_object_unref(object); }
};
using Image = std::unique_ptr<VipsImage, Unreference>;
using Source = std::unique_ptr<VipsSource, Unreference>;

// What a reader keeps while rows come out of it.
struct Keeping {
    std::int64_t pixelsPerByte;  // more of them for each byte of the file are a trap rather than a picture
    std::int64_t always;         // so many are read from any file
    std::int64_t never;          // more are read from none
};
constexpr std::int64_t kMega = 1'000'000;
constexpr Keeping kRows = {100, 256 * kMega, 1000 * kMega};  // costs time only
constexpr Keeping kStrips = {30, 64 * kMega, 1000 * kMega};  // a strip may be the whole picture
constexpr Keeping kWhole = {64, 64 * kMega, 256 * kMega};

// What is larger is read alone, and so many others at once: some take ten bytes of memory for each pixel.
constexpr std::int64_t kMostTogether = 32 * kMega;
constexpr std::ptrdiff_t kTogether = 4;

// The readers that may be used.
struct Reader {
    std::string_view name;
    Keeping keeping;
    bool shrinks;  // can decode smaller
};
constexpr Reader kReaders[] = {
    {"VipsForeignLoadPngSource", kRows, false},    {"VipsForeignLoadWebpSource", kWhole, true},
    {"VipsForeignLoadTiffSource", kStrips, false}, {"VipsForeignLoadNsgifSource", kWhole, false},
    {"VipsForeignLoadHeifSource", kWhole, false},  {"VipsForeignLoadJxlSource", kWhole, false},
};

const Reader* ReaderFor(VipsSource* source) {
    const char* const name = vips_foreign_find_load_source(source);
    if (!name)
        return nullptr;
    const auto* const found = std::find_if(std::begin(kReaders), std::end(kReaders),
                                           [&](const Reader& reader) { return reader.name == name; });
    return found == std::end(kReaders) ? nullptr : found;
}

void Log(const gchar* domain, GLogLevelFlags level, const gchar* text, gpointer /*user*/) {
    // A damaged picture is an error of the call; what is only warned about, nobody could act on.
    if ((level & G_LOG_LEVEL_CRITICAL) == 0)
        return;
    void (*const log)(const char*) = s_logLine.load();
    if (!log)
        return;
    char line[512];
    std::snprintf(line, sizeof line, "%s: %s", domain ? domain : "vips", text);
    log(line);
}

bool Start() {
    for (const char* domain : {"VIPS", "GLib", "GLib-GObject", "GLib-GIO"})
        g_log_set_handler(
            domain,
            static_cast<GLogLevelFlags>(G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING | G_LOG_LEVEL_MESSAGE),
            Log, nullptr);
    if (VIPS_INIT("lumato") != 0)
        return false;
    // Every picture is read once, so that what its operations leave behind serves nobody.
    vips_cache_set_max(0);
    // Each thread has buffers of its own; more than a few gain nothing on one picture.
    vips_concurrency_set(static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, 4U)));
    // Only readers that are kept safe against hostile files; JPEG XL's became so after this list was made.
    vips_block_untrusted_set(TRUE);
    vips_operation_block_set("VipsForeignLoadJxl", FALSE);
    return true;
}

// Held by each picture that is read beside others, and alone for what may not be.
std::shared_mutex s_pictures;
std::counting_semaphore<kTogether> s_seats{kTogether};
// Held by who waits to be alone: the others come behind, or they would keep it waiting for as long as any of
// them reads.
std::mutex s_door;

struct Seat {
    Seat() { s_seats.acquire(); }
    ~Seat() { s_seats.release(); }
    Seat(const Seat&) = delete;
    Seat& operator=(const Seat&) = delete;
};

bool Started() {
    static const bool started = Start();
    return started;
}

// Null in place of a message: other pictures are being read, and why this one is not is told when it is
// alone.
VipsOutcome Say(VipsMessage* message, VipsOutcome outcome, const char* key, const char* text) {
    if (message != nullptr) {
        message->key = key;
        message->text = text;
    }
    return outcome;
}

// What libvips has to say, on one line; some of its reasons tell that the file is too short.
VipsOutcome SayVipsError(VipsMessage* message) {
    if (message == nullptr)
        return VipsOutcome::Damaged;
    auto& detail = message->values[0];
    const char* const said = vips_error_buffer();
    std::snprintf(detail, sizeof detail, "%s", *said ? said : "libvips says no more");
    vips_error_clear();
    for (char* at = detail; *at; ++at)
        if (*at == '\n')
            *at = at[1] ? ' ' : '\0';
    if (std::string_view(detail).find("out of memory") != std::string_view::npos)
        return Say(message, VipsOutcome::TooLarge, "BEYOND_MEMORY", "too large for this computer's memory");
    constexpr std::string_view kEnds[] = {
        "end of file", "end of input",   "EOF",        "eof",       "truncated",
        "Truncated",   "Unexpected end", "not enough", "Not enough"};
    for (const std::string_view end : kEnds)
        if (std::string_view(detail).find(end) != std::string_view::npos)
            return Say(message, VipsOutcome::Damaged, "CUT_OFF", "cut off: the file ends early");
    return Say(message, VipsOutcome::Damaged, "BROKEN", "broken: {0}");
}

// Takes over what an operation made, if it succeeded.
template <class Operation>
bool Apply(Image& image, Operation operation) {
    VipsImage* out = nullptr;
    if (operation(image.get(), &out) != 0)
        return false;
    image.reset(out);
    return true;
}

Source OpenSource(int descriptor) {
    // The position in the file is shared with every earlier source on the descriptor.
    ::lseek(descriptor, 0, SEEK_SET);
    return Source(vips_source_new_from_descriptor(descriptor));
}

Image Open(int descriptor, double scale) {
    const Source source = OpenSource(descriptor);
    if (!source)
        return nullptr;
    // A name in front of it would be read for options, so that the file is handed over open.
    if (scale < 1)
        return Image(vips_image_new_from_source(source.get(), "", "access", VIPS_ACCESS_SEQUENTIAL, "fail_on",
                                                VIPS_FAIL_ON_TRUNCATED, "scale", scale, nullptr));
    return Image(vips_image_new_from_source(source.get(), "", "access", VIPS_ACCESS_SEQUENTIAL, "fail_on",
                                            VIPS_FAIL_ON_TRUNCATED, nullptr));
}

bool IsInterlaced(VipsImage* image) {
    int interlaced = 0;
    return vips_image_get_typeof(image, "interlaced") != 0 &&
           vips_image_get_int(image, "interlaced", &interlaced) == 0 && interlaced != 0;
}

// Pixels, deeper ones as so many of the usual 3 bytes.
std::int64_t CostOf(const VipsImage* image) {
    const std::int64_t pixels = std::int64_t{vips_image_get_width(image)} * vips_image_get_height(image);
    const auto sampleSize = static_cast<std::int64_t>(vips_format_sizeof(vips_image_get_format(image)));
    return pixels * std::max<std::int64_t>(3, sampleSize * vips_image_get_bands(image)) / 3;
}

// A header may claim anything; what decoding costs must stand in some proportion to the file.
VipsOutcome CheckLimit(VipsImage* image, const Reader& reader, std::int64_t fileSize, VipsMessage* message) {
    const Keeping& keeping = IsInterlaced(image) ? kWhole : reader.keeping;
    const std::int64_t limit = std::clamp(fileSize * keeping.pixelsPerByte, keeping.always, keeping.never);
    if (CostOf(image) <= (message == nullptr ? std::min(limit, kMostTogether) : limit))
        return VipsOutcome::Done;
    if (message == nullptr)
        return VipsOutcome::TooLarge;
    std::snprintf(message->values[0], sizeof message->values[0], "%d x %d", vips_image_get_width(image),
                  vips_image_get_height(image));
    std::snprintf(message->values[1], sizeof message->values[1], "%lld",
                  static_cast<long long>(limit / kMega));
    return Say(message, VipsOutcome::TooLarge, "TOO_LARGE_A_FILE",
               "too large: {0} pixels, the limit for such a file is {1} megapixels");
}

// Whether the receiver takes the colours as they are: they are of the usual kind, and it converts fewer
// pixels.
bool IsProfileTaken(VipsImage* image, const VipsReceiver& receiver) {
    const void* profile = nullptr;
    std::size_t size = 0;
    return vips_image_get_interpretation(image) == VIPS_INTERPRETATION_sRGB &&
           vips_image_get_format(image) == VIPS_FORMAT_UCHAR &&
           vips_image_get_typeof(image, VIPS_META_ICC_NAME) != 0 &&
           vips_image_get_blob(image, VIPS_META_ICC_NAME, &profile, &size) == 0 &&
           receiver.takesProfile(receiver.user, profile, size);
}

// By the embedded profile where that works; a broken one counts as none.
bool ToSrgb(Image& image, const VipsReceiver& receiver) {
    if (IsProfileTaken(image.get(), receiver))
        return true;
    if (vips_image_get_typeof(image.get(), VIPS_META_ICC_NAME) != 0) {
        const bool done = Apply(image, [](VipsImage* in, VipsImage** out) {
            return vips_icc_transform(in, out, "srgb", "embedded", TRUE, "intent", VIPS_INTENT_RELATIVE,
                                      "black_point_compensation", TRUE, "depth", 8, nullptr);
        });
        if (done)
            return true;
        vips_error_clear();
    }
    return Apply(image, [](VipsImage* in, VipsImage** out) {
        return vips_colourspace(in, out, VIPS_INTERPRETATION_sRGB, nullptr);
    });
}

bool ToThreeBytes(Image& image) {
    const int bands = vips_image_get_bands(image.get());
    if (bands > 3 && !Apply(image, [](VipsImage* in, VipsImage** out) {
            return vips_extract_band(in, out, 0, "n", 3, nullptr);
        }))
        return false;
    if (bands < 3 && !Apply(image, [](VipsImage* in, VipsImage** out) {
            VipsImage* const grey[] = {in, in, in};
            return vips_bandjoin(const_cast<VipsImage**>(grey), out, 3, nullptr);
        }))
        return false;
    return vips_image_get_format(image.get()) == VIPS_FORMAT_UCHAR ||
           Apply(image, [](VipsImage* in, VipsImage** out) { return vips_cast_uchar(in, out, nullptr); });
}

// Transparency shows black, then sRGB, 8 bits, three of them.
bool Prepare(Image& image, const VipsReceiver& receiver) {
    if (vips_image_hasalpha(image.get()) &&
        !Apply(image, [](VipsImage* in, VipsImage** out) { return vips_flatten(in, out, nullptr); }))
        return false;
    return ToSrgb(image, receiver) && ToThreeBytes(image);
}

struct Delivery {
    const VipsReceiver* receiver;
    bool stopped = false;
};

int Deliver(VipsRegion* region, VipsRect* area, void* user) {
    auto& delivery = *static_cast<Delivery*>(user);
    // The area spans the picture's width, and so does the region.
    const auto stride = static_cast<std::ptrdiff_t>(VIPS_REGION_LSKIP(region));
    const VipsPel* row = VIPS_REGION_ADDR_TOPLEFT(region) + (area->top - region->valid.top) * stride;
    for (int y = 0; y < area->height; ++y, row += stride) {
        if (delivery.receiver->row(delivery.receiver->user, row))
            continue;
        delivery.stopped = true;
        return -1;
    }
    return 0;
}

VipsOutcome ReadOpened(int descriptor, std::int64_t fileSize, const Reader& reader,
                       const VipsReceiver* receiver, VipsMessage* message) {
    Image image = Open(descriptor, 1);
    if (!image)
        return SayVipsError(message);
    const VipsOutcome limit = CheckLimit(image.get(), reader, fileSize, message);
    if (limit != VipsOutcome::Done)
        return limit;
    if (!receiver->begin(receiver->user, vips_image_get_width(image.get()),
                         vips_image_get_height(image.get()), vips_image_get_orientation(image.get())))
        return VipsOutcome::Stopped;
    const int shrink = receiver->mostShrink(receiver->user);
    if (shrink > 1 && reader.shrinks) {
        image = Open(descriptor, 1.0 / shrink);
        if (!image)
            return SayVipsError(message);
    }
    if (!Prepare(image, *receiver))
        return SayVipsError(message);
    if (!receiver->decoded(receiver->user, vips_image_get_width(image.get()),
                           vips_image_get_height(image.get())))
        return VipsOutcome::Stopped;
    Delivery delivery{receiver};
    if (vips_sink_disc(image.get(), Deliver, &delivery) != 0)
        return delivery.stopped ? VipsOutcome::Stopped : SayVipsError(message);
    return VipsOutcome::Done;
}

VipsOutcome ReadOne(int descriptor, std::int64_t fileSize, const VipsReceiver* receiver,
                    VipsMessage* message) {
    if (!Started())
        return Say(message, VipsOutcome::Unsupported, "READER_CANNOT_START",
                   "the picture reader cannot start");
    vips_error_clear();
    const Source source = OpenSource(descriptor);
    const Reader* const reader = source ? ReaderFor(source.get()) : nullptr;
    if (!reader) {
        vips_error_clear();
        return Say(message, VipsOutcome::Unsupported, "NOT_READABLE_HERE",
                   "not a picture that can be read here");
    }
    return ReadOpened(descriptor, fileSize, *reader, receiver, message);
}

VipsOutcome Read(int descriptor, std::int64_t fileSize, const VipsReceiver* receiver, VipsMessage* message) {
    {
        const Seat seat;
        std::unique_lock door(s_door);
        const std::shared_lock together(s_pictures);
        door.unlock();
        const VipsOutcome outcome = ReadOne(descriptor, fileSize, receiver, nullptr);
        if (outcome == VipsOutcome::Done || outcome == VipsOutcome::Stopped)
            return outcome;
    }
    const std::lock_guard door(s_door);
    const std::lock_guard alone(s_pictures);
    return ReadOne(descriptor, fileSize, receiver, message);
}

VipsOutcome EncodePng(const std::uint8_t* rgb, int width, int height, void** png, std::size_t* size,
                      VipsMessage* message) {
    const std::lock_guard door(s_door);
    const std::lock_guard alone(s_pictures);
    if (!Started())
        return Say(message, VipsOutcome::Unsupported, "", "the picture writer cannot start");
    const Image image(vips_image_new_from_memory(
        rgb, static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3, width, height, 3,
        VIPS_FORMAT_UCHAR));
    if (!image || vips_pngsave_buffer(image.get(), png, size, nullptr) != 0)
        return SayVipsError(message);
    return VipsOutcome::Done;
}

}  // namespace
}  // namespace lumato::picture

extern "C" __attribute__((visibility("default"))) const lumato::picture::VipsModule* LumatoVipsModule() {
    using namespace lumato::picture;
    static const VipsModule module = {kVipsModuleVersion, [](void (*log)(const char*)) { s_logLine = log; },
                                      Read, EncodePng, [](void* png) { g_free(png); }};
    return &module;
}
