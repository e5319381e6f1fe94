#include "base/sha256.h"

#include <algorithm>
#include <bit>

namespace lumato {
namespace {

constexpr std::size_t kChunk = 64;

using State = std::array<std::uint32_t, 8>;

// FIPS 180-4, 4.2.2: fractional parts of the cube roots of the first 64 primes.
constexpr std::array<std::uint32_t, 64> kRound = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

// 6.2.2, step 1.
std::array<std::uint32_t, 64> Schedule(ByteSpan chunk) {
    std::array<std::uint32_t, 64> words{};
    for (std::size_t t = 0; t < 16; ++t)
        words[t] = GetBe32(chunk.subspan(4 * t));
    for (std::size_t t = 16; t < words.size(); ++t) {
        const std::uint32_t a = words[t - 15];
        const std::uint32_t b = words[t - 2];
        words[t] = words[t - 16] + words[t - 7] + (std::rotr(a, 7) ^ std::rotr(a, 18) ^ a >> 3) +
                   (std::rotr(b, 17) ^ std::rotr(b, 19) ^ b >> 10);
    }
    return words;
}

// 6.2.2, steps 2 to 4.
void Compress(State& state, ByteSpan chunk) {
    const auto words = Schedule(chunk);
    State v = state;
    for (std::size_t t = 0; t < words.size(); ++t) {
        const std::uint32_t sum1 = std::rotr(v[4], 6) ^ std::rotr(v[4], 11) ^ std::rotr(v[4], 25);
        const std::uint32_t choice = (v[4] & v[5]) ^ (~v[4] & v[6]);
        const std::uint32_t first = v[7] + sum1 + choice + kRound[t] + words[t];
        const std::uint32_t sum0 = std::rotr(v[0], 2) ^ std::rotr(v[0], 13) ^ std::rotr(v[0], 22);
        const std::uint32_t majority = (v[0] & v[1]) ^ (v[0] & v[2]) ^ (v[1] & v[2]);
        std::shift_right(v.begin(), v.end(), 1);
        v[4] += first;
        v[0] = first + sum0 + majority;
    }
    for (std::size_t i = 0; i < state.size(); ++i)
        state[i] += v[i];
}

}  // namespace

Digest Sha256(ByteSpan bytes) {
    State state = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                   0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    const std::uint64_t bits = std::uint64_t{bytes.size()} * 8;
    for (; bytes.size() >= kChunk; bytes = bytes.subspan(kChunk))
        Compress(state, bytes.first(kChunk));
    // 5.1.1: a one bit, zeros, and the length in bits as the last eight bytes.
    std::array<std::uint8_t, 2 * kChunk> tail{};
    std::ranges::copy(bytes, tail.begin());
    tail[bytes.size()] = 0x80;
    const std::size_t length = bytes.size() + 9 <= kChunk ? kChunk : 2 * kChunk;
    PutBe32(MutableByteSpan(tail).subspan(length - 8), static_cast<std::uint32_t>(bits >> 32));
    PutBe32(MutableByteSpan(tail).subspan(length - 4), static_cast<std::uint32_t>(bits));
    for (std::size_t at = 0; at < length; at += kChunk)
        Compress(state, ByteSpan(tail).subspan(at, kChunk));

    Digest digest{};
    for (std::size_t i = 0; i < state.size(); ++i)
        PutBe32(MutableByteSpan(digest).subspan(4 * i), state[i]);
    return digest;
}

std::string HexText(ByteSpan bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes)
        text += {kDigits[byte >> 4], kDigits[byte & 15]};
    return text;
}

}  // namespace lumato
