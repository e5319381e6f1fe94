// Where a randomised test begins: with the number in LUMATO_SEED, or with one of its own. It is printed, so
// that what failed can be led again.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace lumato::test {

inline unsigned Seed(unsigned usual) {
    const char* given = std::getenv("LUMATO_SEED");
    const auto seed = given != nullptr ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : usual;
    std::printf("LUMATO_SEED=%u\n", seed);
    return seed;
}

}  // namespace lumato::test
