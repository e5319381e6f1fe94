#include "base/sha256.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace lumato {
namespace {

std::string Sum(const std::string& text) {
    return HexText(Sha256(std::vector<std::uint8_t>(text.begin(), text.end())));
}

// The examples of FIPS 180 and of the NIST test vectors, and every length around the padding's turns.
TEST(Sha256Test, GivesTheKnownSums) {
    EXPECT_EQ(Sum(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(Sum("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(Sum("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    EXPECT_EQ(Sum(std::string(1000000, 'a')),
              "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(Sha256Test, ReadsEveryByteWhereverThePaddingFalls) {
    std::vector<std::string> seen;
    for (std::size_t length = 50; length < 70; ++length) {
        std::string text(length, 'x');
        seen.push_back(Sum(text));
        text.back() = 'y';
        seen.push_back(Sum(text));
    }
    std::sort(seen.begin(), seen.end());
    EXPECT_EQ(std::unique(seen.begin(), seen.end()), seen.end());
    // Of 55, 56 and 64 bytes "a", by an independent program.
    EXPECT_EQ(Sum(std::string(55, 'a')), "9f4390f8d30c2dd92ec9f095b65e2b9ae9b0a925a5258e241c9f1e910f734318");
    EXPECT_EQ(Sum(std::string(56, 'a')), "b35439a4ac6f0948b6d6f9e3c6af0f5f590ce20f1bde7090ef7970686ec6738a");
    EXPECT_EQ(Sum(std::string(64, 'a')), "ffe054fe7ae0cb6dc65c3af9b61d5209f439851db43d0ba5997337df154668eb");
}

}  // namespace
}  // namespace lumato
