#include <algorithm>

#include "fuzz/input.h"
#include "fuzz/targets.h"
#include "import/messages.h"
#include "import/reception.h"

namespace lumato::fuzz {
namespace {

using namespace reader;

// What a reader said, a byte with its length in front of each packet, behind what is in the memory that both
// see.
void Add(Bytes& seed, const FromReader& message) {
    const Packet packet = Pack(message);
    seed.push_back(static_cast<std::uint8_t>(packet.size()));
    seed.insert(seed.end(), packet.begin(), packet.end());
}

Bytes Seed(std::initializer_list<FromReader> messages) {
    Bytes seed{7};
    for (const FromReader& message : messages)
        Add(seed, message);
    return seed;
}

// The same message, read back, is the same message.
void DemandRoundTrip(ByteSpan packet) {
    const auto message = ParseFromReader(packet);
    if (!message || std::holds_alternative<End>(*message) || std::holds_alternative<Line>(*message))
        return;
    const Packet again = Pack(*message);
    Demand(std::ranges::equal(again, packet), "a message has one form");
}

}  // namespace

void RunReader(ByteSpan input) {
    Input bytes(input);
    static Bytes s_memory(kMemorySize);
    std::fill_n(s_memory.begin(), 4096, bytes.Byte());
    picture::BitmapInfo info;
    // Held small, so that the larger sizes are not a matter of memory here.
    const picture::ScaleNeeded small = [](int width, int height) {
        return 16.0 / std::max({width, height, 16});
    };
    picture::PictureBuilder builder(info, false, small, picture::Held::AsStored);
    const auto fileSize = static_cast<std::int64_t>(input.size()) * 64;
    picture::Reception reception(builder, s_memory, fileSize);
    while (!bytes.Empty()) {
        const ByteSpan packet = bytes.Take(bytes.Byte());
        DemandRoundTrip(packet);
        using Next = picture::Reception::Next;
        switch (reception.Take(packet)) {
            case Next::Wait:
                continue;
            case Next::Go:
                Demand(reception.Bounds().memory > 0 &&
                           reception.Bounds().memory <= 340'000'000 + 100 * fileSize,
                       "a small file's bounds are small");
                Demand(reception.Bounds().processor.count() <= 4000 + fileSize / 50, "and its time is short");
                continue;
            case Next::Say:
                continue;
            case Next::Ended:
            case Next::Left:
                Demand(reception.Outcome().has_value() == builder.Complete() || !reception.Outcome(),
                       "only a whole picture is one");
                Demand(!reception.Preview() ||
                           (reception.Preview()->offset >= 0 && reception.Preview()->length > 0 &&
                            reception.Preview()->offset + reception.Preview()->length <= fileSize),
                       "a preview lies in the file");
                Demand(reception.Outcome() || !reception.Outcome().error().message.empty(),
                       "a refusal has its reason");
                return;
            case Next::Nonsense:
                return;
        }
    }
}

std::vector<Bytes> ReaderSeeds() {
    const Found found{24, 16, 6, Format::WebP, 4, 128};
    return {
        Seed({found, Coming{24, 16}, Rows{9}, Line{"a word"}, Rows{7}, End{}}),
        Seed({found, Coming{24, 16}, Rows{16}, Rows{1}}),
        Seed({found, Coming{1, 1}, Rows{1}, End{}}),
        Seed({Found{64, 48, 6}, Coming{32, 24, 2}, Rows{24}, End{}}),
        Seed({Found{64, 48, 6}, Coming{32, 23, 2}, Rows{23}, End{}}),
        Seed({Found{64, 48, 6}, Coming{64, 48}, Rows{24}, End{}}),
        Seed({found, found}),
        Seed({Found{1'000'000, 1000, 1, Format::Png, 3, 3'000'000}, Coming{1'000'000, 1000}, Rows{1},
              Rows{1}}),
        // Bounds for rows of so many and such deep pixels were beyond any memory.
        Seed({Found{1'000'000, 3, 1, Format::Whole, 255, 0}}),
        Seed({Found{-1, 1LL << 40, 0, Format::JpegXl, 255, 0}}),
        Seed({End{Outcome::Damaged, Reason::Broken, "no\n\x1B[31mtext"}}),
        Seed({End{}}),
        Seed({Ready{}, Rows{1}}),
        Seed({Preview{100, 200, 6}, End{}}),
        Seed({Preview{100, 1LL << 62, 6}, End{}}),
        Seed({Preview{100, 200, 6}, End{Outcome::Done, Reason::PreviewUsed}}),
    };
}

}  // namespace lumato::fuzz
