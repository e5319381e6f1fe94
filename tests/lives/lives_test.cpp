// Random lives of the program beside the plainest reference there is.
//
// LUMATO_LIVES says how many (default 200), LUMATO_LIVES_SEED where to begin (default 1): a life that failed
// is led again with its seed and LUMATO_LIVES=1.
#include <cstdio>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/lives/life.h"
#include "tests/support/temporary_folder.h"

namespace lumato::lives {
namespace {

unsigned Setting(const char* name, unsigned otherwise) {
    const char* value = std::getenv(name);
    return value != nullptr ? static_cast<unsigned>(std::strtoul(value, nullptr, 10)) : otherwise;
}

TEST(Lives, WhatIsSeenIsWhatThereIs) {
    // Thousands of files are synced: in memory where there is such a folder.
    const test::TemporaryFolder home(::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : testing::TempDir());
    Life::MakeSources(home.Get());
    const unsigned first = Setting("LUMATO_LIVES_SEED", 1);
    const unsigned count = Setting("LUMATO_LIVES", 200);
    Tally tally;
    for (unsigned seed = first, faults = 0; seed < first + count && faults < 20; ++seed) {
        const std::string fault = Life(home.Get(), seed, tally).Run();
        if (fault.empty())
            continue;
        ++faults;
        ADD_FAILURE() << "LUMATO_LIVES_SEED=" << seed << " LUMATO_LIVES=1: " << fault;
    }
    for (const char* what : {"downloads", "failed downloads", "unplugged", "killed", "stopped",
                             "connected while pictures wait", "connected after a failed download"})
        EXPECT_TRUE(count < 100 || tally[what] > 0) << what;
    for (const auto& [what, times] : tally)
        std::printf("%s: %d\n", what.c_str(), times);
}

}  // namespace
}  // namespace lumato::lives
