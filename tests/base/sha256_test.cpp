#include "base/sha256.h"

#include <string>

#include <gtest/gtest.h>

namespace lumato {
namespace {

// Journals on people's disks carry these sums: whatever computes them must go on giving the same.
TEST(Sha256Test, GivesTheKnownSums) {
    const auto sum = [](const std::string& text) {
        return HexText(Sha256({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}));
    };
    EXPECT_EQ(sum(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(sum(std::string(1000000, 'a')),
              "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

}  // namespace
}  // namespace lumato
