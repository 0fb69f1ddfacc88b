// Tests of the INI reader and writer. On Windows they run against the system's own profile
// calls, which the POSIX reader and writer must match.
#include <gtest/gtest.h>

#include "profile.h"
#include "test_support.h"

using namespace mirt::platform;
using namespace mirt_test;

namespace {

class IniTest : public ::testing::Test {
protected:
    void SetUp() override { folder = make_temp_folder("ini"); }
    void TearDown() override { remove_tree(folder); }

    std::string read(const std::string& file, const char* section, const char* key, size_t size = 127) {
        std::vector<char> buffer(size, 'x');
        size_t n = read_profile_string(section, key, "dflt", buffer.data(), size, join(folder, file).c_str());
        std::string value(buffer.data());
        EXPECT_EQ(n, value.size());
        return value;
    }
    // The file's lines without the blank ones.
    std::vector<std::string> lines(const std::string& file) {
        std::vector<std::string> result;
        for (const auto& line : lines_of(read_text_file(join(folder, file))))
            if (!line.empty()) result.push_back(line);
        return result;
    }
    std::string folder;
};

}  // namespace

TEST_F(IniTest, ReadsNamesWithoutRegardToCaseAndTrimsValues) {
    write_file(join(folder, "a.ini"),
               "[Sec]\r\n  Key1 =  value one  \r\nkey2=\"quoted\"\r\nkey3='single'\r\nnokey\r\n"
               "[Other]\r\nKey1=other\r\n");
    EXPECT_EQ(read("a.ini", "SEC", "KEY1"), "value one");
    EXPECT_EQ(read("a.ini", "sec", "Key2"), "quoted");
    EXPECT_EQ(read("a.ini", "Sec", "key3"), "single");
    EXPECT_EQ(read("a.ini", "Other", "key1"), "other");
    EXPECT_EQ(read("a.ini", "Sec", "missing"), "dflt");
    EXPECT_EQ(read("a.ini", "None", "Key1"), "dflt");
    EXPECT_EQ(read("absent.ini", "Sec", "Key1"), "dflt");
    // A value longer than the buffer is cut to fit with its terminator.
    EXPECT_EQ(read("a.ini", "Sec", "Key1", 5), "valu");
}

TEST_F(IniTest, WritesCreateFileSectionAndKeyAndReplaceInPlace) {
    std::string path = join(folder, "w.ini");
    ASSERT_TRUE(write_profile_string("S", "K", "1", path.c_str()));
    EXPECT_EQ(lines("w.ini"), (std::vector<std::string>{"[S]", "K=1"}));
    ASSERT_TRUE(write_profile_string("S", "L", "2", path.c_str()));
    ASSERT_TRUE(write_profile_string("T", "M", "3", path.c_str()));
    EXPECT_EQ(lines("w.ini"), (std::vector<std::string>{"[S]", "K=1", "L=2", "[T]", "M=3"}));
    // A key found without regard to case keeps its spelling and its place.
    ASSERT_TRUE(write_profile_string("s", "k", "9", path.c_str()));
    ASSERT_TRUE(write_profile_string("T", "N", "4", path.c_str()));
    EXPECT_EQ(lines("w.ini"), (std::vector<std::string>{"[S]", "K=9", "L=2", "[T]", "M=3", "N=4"}));
    EXPECT_EQ(read("w.ini", "S", "K"), "9");

    EXPECT_FALSE(write_profile_string("S", "K", "1", join(join(folder, "no such folder"), "x.ini").c_str()));
    EXPECT_FALSE(write_profile_string("S", "K", nullptr, path.c_str())) << "nothing is deleted";
    EXPECT_EQ(read("w.ini", "S", "K"), "9");
}
