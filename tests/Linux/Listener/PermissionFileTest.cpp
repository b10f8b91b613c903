#include "Linux/Listener/PermissionFile.h"

#include "Linux/Files/LinuxDurableFiles.h"
#include "Shared/WholeFile.h"
#include "support/LogCapture.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <map>
#include <string>

namespace keysong::test {
namespace {

using namespace listener;

class PermissionFileTest : public testing::Test {
  protected:
    PermissionFile read() {
        return {files, file, [this](std::uint32_t user) {
                    return names.contains(user) ? std::optional(names.at(user)) : std::nullopt;
                }};
    }

    TempFolder folder;
    LinuxDurableFiles files;
    std::filesystem::path file = folder.path() / "state" / "permissions";
    std::map<std::uint32_t, std::string> names{{1000, "anna"}, {1001, "bela"}, {1002, "a b"}};
    LogCapture& log = LogCapture::shared();
};

TEST_F(PermissionFileTest, RemembersWhoMayAndForgetsWhomItWasTakenFrom) {
    {
        PermissionFile permissions = read();
        EXPECT_FALSE(permissions.isGranted(1000));
        EXPECT_TRUE(permissions.grant(1000));
        EXPECT_TRUE(permissions.grant(1001));
        EXPECT_TRUE(permissions.isGranted(1000));
        for (const std::uint32_t user : {0U, 4711U, 1002U}) {
            EXPECT_FALSE(permissions.grant(user)) << "root, nobody, a name that a line cannot hold";
        }
    }
    EXPECT_EQ(readWholeFile(file, 1000), "keysong-listener permissions 1\n1000 anna\n1001 bela\n");
    struct stat facts {};
    ASSERT_EQ(stat(file.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777, 0600U);
    {
        PermissionFile permissions = read();
        EXPECT_TRUE(permissions.isGranted(1000));
        EXPECT_TRUE(permissions.revoke(1000));
        EXPECT_TRUE(permissions.revoke(1000));
        EXPECT_FALSE(permissions.isGranted(1000));
    }
    EXPECT_FALSE(read().isGranted(1000));
    EXPECT_TRUE(read().isGranted(1001));
    names[1001] = "newcomer"; // the account was removed, and its number is another's now
    EXPECT_FALSE(read().isGranted(1001));
}

TEST_F(PermissionFileTest, ADamagedFileGivesAccessToNobodyAndIsToldOf) {
    const std::string head = "keysong-listener permissions 1\n";
    for (const std::string& text :
         {std::string(), std::string("1000 anna\n"), head + "1000 anna", head + "1000\n", head + "1000 \n",
          head + "-1 anna\n", head + "0 root\n", head + "1000 anna x\n", head + "1000 anna\n1000 anna\n",
          head + "99999999999 anna\n", head + std::string("1000 an\0na\n\xff", 11),
          head + std::string(PermissionFile::longestFile, '\n')}) {
        folder.write("state/permissions", text);
        PermissionFile permissions = read();
        EXPECT_FALSE(permissions.isGranted(1000)) << text.substr(0, 60);
        EXPECT_EQ(log.takeErrors().size(), 1U) << text.substr(0, 60);
        EXPECT_TRUE(permissions.grant(1001));
        EXPECT_TRUE(read().isGranted(1001)) << "the next grant replaces it";
        EXPECT_FALSE(read().isGranted(1000));
    }
}

TEST_F(PermissionFileTest, WhatCannotBeWrittenIsNotGrantedButTakenBackAllTheSame) {
    EXPECT_TRUE(read().grant(1000));
    PermissionFile permissions = read();
    std::filesystem::remove_all(file.parent_path());
    folder.write("state", "no folder");
    EXPECT_FALSE(permissions.grant(1001));
    EXPECT_FALSE(permissions.isGranted(1001));
    EXPECT_FALSE(permissions.revoke(1000));
    EXPECT_FALSE(permissions.isGranted(1000));
    EXPECT_EQ(log.takeErrors().size(), 2U);
}

} // namespace
} // namespace keysong::test
