// lumatoctl encode: a bitmap file becomes a frame picture stream.
#include "cli/commands.h"
#include "picture/rv512_encoder.h"

namespace lumato::cli {

int RunEncode(const Arguments& arguments, const Output& output) {
    picture::CRv512Encoder codec(Links::Follow);
    const int bytes = codec.EnCode(arguments.files[0], arguments.files[1], arguments.size->width,
                                   arguments.size->height, arguments.quality, arguments.sampling);
    if (bytes <= 0)
        return output.Failed(kRefused, codec.LastError().message);
    output.Result({{"bytes", bytes}}, Grouped(bytes) + " bytes");
    return kDone;
}

}  // namespace lumato::cli
