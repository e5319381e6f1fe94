// lumatoctl decode: a frame picture stream becomes a bitmap file.
#include "cli/commands.h"
#include "picture/rv512_encoder.h"

namespace lumato::cli {
int RunDecode(const Arguments& arguments, const Output& output) {
    picture::CRv512Encoder codec(Links::Follow);
    const Size wanted = arguments.size.value_or(Size{});
    if (!codec.DeCode(arguments.files[0], arguments.files[1], wanted.width, wanted.height))
        return output.Failed(kRefused, codec.LastError().message);
    output.Result({{"width", codec.LastWidth()}, {"height", codec.LastHeight()}},
                  std::to_string(codec.LastWidth()) + " x " + std::to_string(codec.LastHeight()) + " pixels");
    return kDone;
}

}  // namespace lumato::cli
