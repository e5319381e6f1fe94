#include "base/system_library.h"

#include <gmock/gmock.h>

namespace lumato {
namespace {

using testing::HasSubstr;

TEST(SystemLibrary, SaysWhichLibraryOrFunctionIsMissing) {
    SystemLibrary mathematics("libm.so.6");
    double (*const cosine)(double) = mathematics["cos"];
    ASSERT_TRUE(mathematics.Check());
    EXPECT_EQ(cosine(0), 1);

    void (*const nothing)() = mathematics["lumato_nothing"];
    void (*const later)() = mathematics["lumato_later"];
    EXPECT_TRUE(nothing == nullptr && later == nullptr);
    ASSERT_FALSE(mathematics.Check());
    EXPECT_EQ(mathematics.Check().error().kind, ErrorKind::Unsupported);
    EXPECT_THAT(mathematics.Check().error().message.English(), HasSubstr("lumato_nothing"));

    SystemLibrary absent("liblumato-absent.so.1");
    void (*const function)() = absent["lumato_nothing"];
    EXPECT_EQ(function, nullptr);
    EXPECT_THAT(absent.Check().error().message.English(), HasSubstr("liblumato-absent.so.1"));
}

}  // namespace
}  // namespace lumato
