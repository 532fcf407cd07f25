// main() of every GoogleTest suite: the whole process runs inside throw-away
// XDG folders and HOME, so that even a test that forgets its own fixture can
// never reach the real user's files.
#include "tests/mock/TempDir.h"

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    orvane::test::TempEnvironment isolation;
    return RUN_ALL_TESTS();
}
