#include "import/import_vips.h"

#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <system_error>
#include <utility>

#include <dlfcn.h>

#include "base/diagnostics.h"
#include "import/colour.h"
#include "import/messages.h"

namespace lumato::picture {
namespace {

// Beside the program, as in a build tree, or where both were installed; without /proc, where they were to be.
// What lies beside the current folder is anybody's.
std::vector<Path> ModuleFolders() {
    std::error_code none;
    const Path program = std::filesystem::read_symlink("/proc/self/exe", none).parent_path();
    if (program.empty())
        return {LUMATO_MODULE_FOLDER_CONFIGURED};
    return {program, program / LUMATO_MODULE_FOLDER};
}

Result<const VipsModule*> Module() {
    static const Result<const VipsModule*> module = LoadVipsModule(ModuleFolders());
    return module;
}

ErrorKind KindOf(VipsOutcome outcome) {
    switch (outcome) {
        case VipsOutcome::Damaged:
            return ErrorKind::Damaged;
        case VipsOutcome::TooLarge:
            return ErrorKind::TooLarge;
        default:
            return ErrorKind::Unsupported;
    }
}

// Receives a picture from the module on behalf of a builder.
class Receiver {
  public:
    explicit Receiver(PictureBuilder& builder) : m_builder(builder) {}

    VipsReceiver Table() {
        return {this,
                [](void* user, std::int64_t width, std::int64_t height, int orientation) {
                    return static_cast<Receiver*>(user)->Begin(width, height, orientation);
                },
                [](void* user, int width, int height) {
                    auto& receiver = *static_cast<Receiver*>(user);
                    return receiver.WithinMemory([&] { return receiver.Decoded({width, height}); });
                },
                [](void* user, const std::uint8_t* rgb) {
                    static_cast<Receiver*>(user)->TakeRow(rgb);
                    return true;
                },
                [](void* user) { return static_cast<Receiver*>(user)->MostShrink(); },
                [](void* user, const void* profile, std::size_t size) {
                    const auto* const bytes = static_cast<const std::uint8_t*>(profile);
                    auto& receiver = *static_cast<Receiver*>(user);
                    return receiver.WithinMemory([&] { return receiver.TakesProfile({bytes, size}); });
                }};
    }

    // What went wrong on this side.
    [[nodiscard]] const Error& Failure() const { return m_failure; }

    // All rows were taken.
    [[nodiscard]] bool IsComplete() const {
        const std::lock_guard lock(m_rows);
        return m_builder.Complete();
    }

  private:
    // Only plain data crosses into the module, no exception.
    template <class Step>
    bool WithinMemory(Step step) {
        try {
            return step();
        } catch (const std::bad_alloc&) {
            m_failure = {ErrorKind::TooLarge, kBeyondMemory};
            return false;
        }
    }

    bool Begin(std::int64_t width, std::int64_t height, int orientation) {
        auto size = CheckedSize(width, height);
        if (!size) {
            m_failure = std::move(size).error();
            return false;
        }
        m_stored = *size;
        m_colours = nullptr;
        m_orientation = OrientationOf(orientation);
        return true;
    }

    void TakeRow(const std::uint8_t* rgb) {
        const std::lock_guard lock(m_rows);
        m_builder.AddRow(rgb);
    }

    bool Decoded(Size size) {
        const std::lock_guard lock(m_rows);
        auto begun = m_builder.Begin({m_stored, size, m_orientation, 0, m_colours});
        if (!begun)
            m_failure = std::move(begun).error();
        return begun.has_value();
    }

    bool TakesProfile(ByteSpan profile) {
        constexpr std::size_t kMostProfile = 1 << 24;  // one is kept: no more than a JPEG file can have
        if (!m_builder.LeavesColours() || profile.size() > kMostProfile)
            return false;
        auto colours = ColourConverter::For(PixelLayout::Held, {profile.begin(), profile.end()});
        if (!colours->IsIdentity())
            m_colours = std::move(colours);
        return true;
    }

    int MostShrink() const {
        const Size least = m_builder.Least(m_stored, m_orientation);
        return std::min(m_stored.width / least.width, m_stored.height / least.height);
    }

    PictureBuilder& m_builder;
    // libvips hands rows from a thread of its own, one at a time; by a lock of ours the thread sanitizer can
    // follow that, its own it does not see.
    mutable std::mutex m_rows;
    Size m_stored;
    Orientation m_orientation = Orientation::Upright;
    std::shared_ptr<const ColourConverter> m_colours;
    Error m_failure{ErrorKind::Damaged, "broken"};
};

Result<const VipsModule*> OpenModule(const Path& path) {
    void* const library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (!library) {
        const char* const reason = ::dlerror();
        return Fail(ErrorKind::Unsupported,
                    Phrase("READER_NOT_LOADED", "the picture reader for this format cannot be loaded: {0}",
                           std::string(reason ? reason : path.c_str())));
    }
    const auto entry = reinterpret_cast<VipsModuleEntry>(::dlsym(library, kVipsModuleEntry));
    const VipsModule* const module = entry ? entry() : nullptr;
    if (!module || module->version != kVipsModuleVersion)
        return Fail(
            ErrorKind::Unsupported,
            Phrase("READER_OF_ANOTHER_VERSION", "the picture reader for this format is of another version"));
    module->setLog([](const char* line) { Diagnose(line); });
    return module;
}

}  // namespace

Result<const VipsModule*> LoadVipsModule(const std::vector<Path>& folders) {
    for (const Path& folder : folders) {
        const Path path = folder / kVipsModuleName;
        std::error_code none;
        if (std::filesystem::exists(path, none))
            return OpenModule(path);
    }
    return Fail(ErrorKind::Unsupported,
                Phrase("READER_NOT_INSTALLED", "the picture reader for this format is not installed ({0})",
                       kVipsModuleName));
}

static Phrase PhraseOf(const VipsMessage& message) {
    return Phrase(message.key, message.text, std::string(message.values[0]), std::string(message.values[1]));
}

Result<void> ImportWithVips(const PictureFile& file, PictureBuilder& builder) {
    LUMATO_TRY(const VipsModule* module, Module());
    Receiver receiver(builder);
    const VipsReceiver table = receiver.Table();
    VipsMessage message{};
    const VipsOutcome outcome = module->read(file.Descriptor(), file.Size(), &table, &message);
    if (outcome == VipsOutcome::Stopped)
        return tl::unexpected(receiver.Failure());
    if (outcome != VipsOutcome::Done)
        return Fail(KindOf(outcome), PhraseOf(message));
    if (!receiver.IsComplete())
        return Fail(ErrorKind::Damaged, kCutOff);
    return {};
}

Result<std::vector<std::uint8_t>> EncodePng(int width, int height, ByteSpan pixels) {
    LUMATO_TRY(const VipsModule* module, Module());
    VipsMessage message{};
    void* data = nullptr;
    std::size_t size = 0;
    const VipsOutcome outcome = module->encodePng(pixels.data(), width, height, &data, &size, &message);
    if (outcome != VipsOutcome::Done)
        return Fail(KindOf(outcome), PhraseOf(message));
    const auto* const bytes = static_cast<const std::uint8_t*>(data);
    std::vector<std::uint8_t> png(bytes, bytes + size);
    module->release(data);
    return png;
}

}  // namespace lumato::picture
