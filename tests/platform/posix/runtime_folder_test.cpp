// The per-user runtime folder of named pipes and events: made private, refused when it is not.
// (Another user's folder in its place is one of the local attacker's plants.)
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/events.h"
#include "platform/pipe.h"
#include "platform/posix/runtime_folder.h"
#include "tests/support/test_support.h"

using namespace mirt::platform;

namespace {
// Whether collection can use the folder: a runtime path, an event, the host's pipe.
bool usable() {
    char path[4096];
    bool have_path = runtime_path("probe", path, sizeof path);
    EventHandle event = create_event("probe", false, false);
    close_event(event);
    PipeHandle pipe = invalid_pipe;
    EXPECT_EQ(open_host_pipe(&pipe), PipeOpen::absent);
    EXPECT_EQ(have_path, event != 0);
    return have_path;
}
}  // namespace

TEST(RuntimeFolder, PrivateToTheUserOrNotUsedAtAll) {
    std::string temp = mirt_test::make_temp_folder("runtime");
    ASSERT_FALSE(temp.empty());
    mirt_test::set_environment("TMPDIR", temp);
    std::string folder = temp + "/mirt-" + std::to_string(getuid());
    char path[4096];
    ASSERT_TRUE(runtime_folder(path, sizeof path));
    EXPECT_EQ(std::string(path), folder + "/");
    struct stat info;
    ASSERT_EQ(lstat(folder.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0700u);
    EXPECT_TRUE(usable());

    for (mode_t open_mode : {0750, 0705, 0777}) {
        chmod(folder.c_str(), open_mode);
        EXPECT_FALSE(usable()) << std::oct << open_mode;
        char refused[4096] = "x";
        EXPECT_FALSE(runtime_folder(refused, sizeof refused));
        EXPECT_STREQ(refused, "");
    }
    chmod(folder.c_str(), 0700);
    EXPECT_TRUE(usable());
    // A link in its place is not followed, even to a private folder.
    mkdir((temp + "/elsewhere").c_str(), 0700);
    mirt_test::remove_tree(folder);
    ASSERT_EQ(symlink((temp + "/elsewhere").c_str(), folder.c_str()), 0);
    EXPECT_FALSE(usable());
    mirt_test::remove_tree(temp);
}
