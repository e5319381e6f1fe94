// Replays every target's seeds and small variations of them, so that no mend is lost where no fuzzer runs.
#include <random>

#include <gtest/gtest.h>

#include "base/diagnostics.h"
#include "fuzz/targets.h"
#include "tests/support/seed.h"

namespace lumato::fuzz {
namespace {

class Replay : public testing::TestWithParam<Target> {
  protected:
    void SetUp() override { SetDiagnosticStream(nullptr); }
    void TearDown() override { SetDiagnosticStream(stdout); }
};

// Some bytes changed, cut off or doubled.
Bytes Varied(Bytes input, std::mt19937& random) {
    for (unsigned changes = random() % 4; changes > 0 && !input.empty(); --changes)
        input[random() % input.size()] = static_cast<std::uint8_t>(random());
    if (random() % 4 == 0)
        input.resize(input.size() - random() % (input.size() + 1));
    if (random() % 8 == 0)
        input.insert(input.end(), input.begin(),
                     input.begin() + static_cast<std::ptrdiff_t>(input.size() / 2));
    return input;
}

TEST_P(Replay, SeedsAndTheirVariations) {
    std::mt19937 random(test::Seed(1));
    for (const Bytes& seed : GetParam().seeds()) {
        GetParam().run(seed);
        for (int i = 0; i < 20; ++i)
            GetParam().run(Varied(seed, random));
    }
}

INSTANTIATE_TEST_SUITE_P(Targets, Replay, testing::ValuesIn(kTargets),
                         [](const auto& one) { return std::string(one.param.name); });

}  // namespace
}  // namespace lumato::fuzz
