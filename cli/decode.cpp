// lumatoctl decode: a frame picture stream becomes a bitmap file.
#include "cli/commands.h"
#include "picture/rv512_encoder.h"

namespace lumato::cli {
namespace {

// The decoder has accepted the stream, whose header begins with the size.
Result<Size> SizeOfStream(const Path& stream) {
    LUMATO_TRY(const std::vector<std::uint8_t> bytes, ReadFile(stream));
    if (bytes.size() < 4)
        return Fail(ErrorKind::Damaged, "too short");
    return Size{GetBe16(bytes), GetBe16(ByteSpan(bytes).subspan(2))};
}

}  // namespace

int RunDecode(const Arguments& arguments, const Output& output) {
    picture::CRv512Encoder codec;
    const Size wanted = arguments.size.value_or(Size{});
    if (!codec.DeCode(arguments.files[0], arguments.files[1], wanted.width, wanted.height))
        return output.Failed(kRefused, codec.LastError().message);
    const Result<Size> size = arguments.size ? *arguments.size : SizeOfStream(arguments.files[0]);
    if (!size)
        return output.Failed(kRefused, size.error().message);
    output.Result({{"width", size->width}, {"height", size->height}},
                  std::to_string(size->width) + " x " + std::to_string(size->height) + " pixels");
    return kDone;
}

}  // namespace lumato::cli
