#include "base/sha256.h"

#include <sha2.h>

namespace lumato {

Digest Sha256(ByteSpan bytes) {
    SHA2_CTX context;
    SHA256Init(&context);
    SHA256Update(&context, bytes.data(), bytes.size());
    Digest digest{};
    SHA256Final(digest.data(), &context);
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
