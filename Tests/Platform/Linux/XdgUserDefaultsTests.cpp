#include "Platform/Linux/XdgUserDefaults.h"
#include "Platform/Simulated/SimulatedEnvironment.h"
#include "Support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <vector>

namespace tapwell {
namespace {

struct UserDefaultsFile : testing::Test {
    test::TemporaryDirectory folder;
    SimulatedEnvironment environment;
    std::vector<std::string> log;

    UserDefaultsFile() { environment.variables["XDG_STATE_HOME"] = folder.file("state"); }
    /// As another run of the program.
    XdgUserDefaults open() {
        return XdgUserDefaults(environment,
                               [this](const std::string& line) { log.push_back(line); });
    }
    static std::string read(const std::filesystem::path& file) {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    static unsigned permissions(const std::filesystem::path& file) {
        struct stat status {};
        EXPECT_EQ(::stat(file.c_str(), &status), 0) << file;
        return status.st_mode & 0777U;
    }
};

TEST_F(UserDefaultsFile, AFlagOutlivesTheProcess) {
    EXPECT_FALSE(open().boolForKey("a"));
    open().setBool(true, "a");
    EXPECT_TRUE(open().boolForKey("a"));
    EXPECT_FALSE(open().boolForKey("b"));
    open().setBool(false, "a");
    EXPECT_FALSE(open().boolForKey("a"));
    EXPECT_THAT(log, testing::IsEmpty());
}

TEST_F(UserDefaultsFile, SettingOneLeavesTheOthers) {
    open().setBool(true, "a");
    open().setBool(true, "b");
    EXPECT_TRUE(open().boolForKey("a"));
    EXPECT_TRUE(open().boolForKey("b"));
}

TEST_F(UserDefaultsFile, ItIsTheUsersAloneAndNothingIsLeftBeside) {
    open().setBool(true, "a");
    const auto file = open().file();
    EXPECT_EQ(file, folder.file("state/tapwell/defaults.json"));
    EXPECT_EQ(permissions(file), 0600U);
    EXPECT_EQ(permissions(file.parent_path()), 0700U);
    const std::filesystem::directory_iterator entries(file.parent_path());
    EXPECT_EQ(std::distance(begin(entries), end(entries)), 1);
}

TEST_F(UserDefaultsFile, ABrokenFileHoldsNoFlagsAndIsMendedByTheNextOne) {
    open().setBool(true, "a");
    for (const char* broken : {"", "{\"a\":tru", "[1]", "{\"a\":\"yes\"}", "\xff\xfe"}) {
        std::ofstream(open().file(), std::ios::binary) << broken;
        EXPECT_FALSE(open().boolForKey("a")) << broken;
        EXPECT_EQ(read(open().file()), broken) << "reading changes nothing";
        open().setBool(true, "a");
        EXPECT_TRUE(open().boolForKey("a")) << broken;
    }
}

TEST_F(UserDefaultsFile, WhatCannotBeStoredIsRememberedAndReported) {
    std::ofstream(folder.file("state")) << "a file where the folder should be";
    auto defaults = open();
    defaults.setBool(true, "a");
    EXPECT_TRUE(defaults.boolForKey("a"));
    EXPECT_THAT(log, testing::ElementsAre("cannot write " + defaults.file().string() +
                                          ": Not a directory; it is remembered until the program "
                                          "ends"));
    EXPECT_FALSE(open().boolForKey("a"));
}

TEST_F(UserDefaultsFile, TheHomeFolderStandsInAndWithoutOneNothingIsStored) {
    environment.variables = {{"XDG_STATE_HOME", "relative"}, {"HOME", folder.file("home")}};
    EXPECT_EQ(open().file(), folder.file("home/.local/state/tapwell/defaults.json"));
    environment.variables.clear();
    auto defaults = open();
    defaults.setBool(true, "a");
    EXPECT_TRUE(defaults.boolForKey("a"));
    EXPECT_THAT(log, testing::ElementsAre(testing::HasSubstr("no place to remember a")));
}

}  // namespace
}  // namespace tapwell
