// Random lives of the program beside the plainest reference there is.
//
// LUMATO_LIVES says how many (default 200), LUMATO_LIVES_SEED where to begin (default 1): a life that failed
// is led again with its seed and LUMATO_LIVES=1.
#include <cstdio>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "tests/lives/life.h"
#include "tests/support/temporary_folder.h"

namespace lumato::lives {
namespace {

unsigned Setting(const char* name, unsigned otherwise) {
    const char* value = std::getenv(name);
    return value != nullptr ? static_cast<unsigned>(std::strtoul(value, nullptr, 10)) : otherwise;
}

TEST(Lives, WhatIsSeenIsWhatThereIs) {
    const test::TemporaryFolder home;
    Life::MakeSources(home.Get());
    const unsigned first = Setting("LUMATO_LIVES_SEED", 1);
    const unsigned count = Setting("LUMATO_LIVES", 200);
    Tally tally;
    for (unsigned seed = first; seed < first + count; ++seed) {
        const std::string fault = Life(home.Get(), seed, tally).Run();
        ASSERT_EQ(fault, "") << "LUMATO_LIVES_SEED=" << seed << " LUMATO_LIVES=1";
    }
    std::printf(
        "%d lives, %d steps, %d downloads, %d of them failed, %d unplugged, pictures waited at %d "
        "connections, %d after a failed download\n",
        tally.lives, tally.steps, tally.downloads, tally.failedDownloads, tally.unplugged, tally.waitingBack,
        tally.recovered);
    EXPECT_TRUE(count < 100 || (tally.downloads > 0 && tally.failedDownloads > 0 && tally.unplugged > 0 &&
                                tally.waitingBack > 0 && tally.recovered > 0));
}

}  // namespace
}  // namespace lumato::lives
