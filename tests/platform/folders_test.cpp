#include "platform/linux/folders.h"

#include <gtest/gtest.h>

#include "tests/support/environment.h"

namespace lumato::platform {
namespace {

using test::ScopedVariable;

TEST(Folders, GivenHomeComesBeforeTheEnvironment) {
    const ScopedVariable data("XDG_DATA_HOME", "/data");
    const ScopedVariable state("XDG_STATE_HOME", "/state");
    EXPECT_EQ(ResourcesFolder("some/where"), "some/where");
    EXPECT_EQ(StateFolder("some/where"), "some/where/state");
    EXPECT_EQ(ResourcesFolder({}), "/data/lumato");
    EXPECT_EQ(StateFolder({}), "/state/lumato");
}

TEST(Folders, UnsetEmptyAndRelativeVariablesFallBackToTheUsersHome) {
    const ScopedVariable home("HOME", "/home/user");
    for (const char* value : {static_cast<const char*>(nullptr), "", "relative"}) {
        const ScopedVariable data("XDG_DATA_HOME", value);
        const ScopedVariable state("XDG_STATE_HOME", value);
        EXPECT_EQ(ResourcesFolder({}), "/home/user/.local/share/lumato");
        EXPECT_EQ(StateFolder({}), "/home/user/.local/state/lumato");
    }
}

TEST(Folders, WithoutHomeTheUserDatabaseTellsIt) {
    const ScopedVariable home("HOME", nullptr);
    const ScopedVariable data("XDG_DATA_HOME", nullptr);
    EXPECT_TRUE(ResourcesFolder({}).is_absolute());
}

}  // namespace
}  // namespace lumato::platform
