#include "base/sha256.h"

#include <nettle/sha2.h>

namespace lumato {

Digest Sha256(ByteSpan bytes) {
    sha256_ctx context;
    sha256_init(&context);
    sha256_update(&context, bytes.size(), bytes.data());
    Digest digest{};
    sha256_digest(&context, digest.size(), digest.data());
    return digest;
}

std::string HexText(ByteSpan bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

}  // namespace lumato
