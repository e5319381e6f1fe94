// The picture-reader module's one entry: what lies between this program and libvips, whose libraries take too
// long to load to be part of every start.
//
// Only plain data crosses. Callable from any thread. Pictures are read at the same time, but for huge ones,
// and for those that could not be read beside others: these are begun anew, alone, because libvips mixes what
// goes wrong with them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lumato::picture {

inline constexpr int kVipsModuleVersion = 3;
inline constexpr char kVipsModuleName[] = "lumato_vips.so";
inline constexpr char kVipsModuleEntry[] = "LumatoVipsModule";

enum class VipsOutcome : int {
    Done,
    Unsupported,
    Damaged,
    TooLarge,
    Stopped,  // the receiver wanted no more
};

// A text of the language file, static strings of the module, which stays loaded; and its values.
struct VipsMessage {
    const char* key;
    const char* text;
    char values[2][200];
};

// Takes a picture: its size as stored, its Exif orientation (1 to 8), then its rows as red, green, blue in
// sRGB, or in the colours of a profile that was taken. Calls come from one thread at a time, not necessarily
// the caller's. False stops the reading.
struct VipsReceiver {
    void* user;
    bool (*begin)(void* user, std::int64_t width, std::int64_t height, int orientation);
    // The size in which the rows will come.
    bool (*decoded)(void* user, int width, int height);
    bool (*row)(void* user, const std::uint8_t* rgb);
    // How many times smaller than stored the rows may come, at the most. Asked after begin().
    int (*mostShrink)(void* user);
    // Whether the rows may come in the colours of this profile. Asked after begin() of pictures with one.
    bool (*takesProfile)(void* user, const void* profile, std::size_t size);
};

struct VipsModule {
    int version;
    // Where the libraries' warnings go, from any thread.
    void (*setLog)(void (*log)(const char* line));
    // Reads the picture behind the descriptor, which stays the caller's, from its beginning.
    VipsOutcome (*read)(int descriptor, std::int64_t fileSize, const VipsReceiver* receiver,
                        VipsMessage* message);
    // A PNG file in memory, to be given back with `release`. Rows of red, green, blue, top row first.
    VipsOutcome (*encodePng)(const std::uint8_t* rgb, int width, int height, void** png, std::size_t* size,
                             VipsMessage* message);
    void (*release)(void* png);
};

using VipsModuleEntry = const VipsModule* (*)();

}  // namespace lumato::picture
