#include "Linux/Input/PolkitAccess.h"

#include "fakes/PumpedQueue.h"
#include "support/PlainThreads.h"
#include "support/ScopedVariable.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <string>
#include <vector>

namespace keysong::test {
namespace {

using Outcome = KeyboardAccess::Outcome;

/// A program that root alone can change, like the helper where it is installed.
constexpr const char* safeHelper = "/usr/bin/true";

/// A script stands in for pkexec.
class PolkitAccessTest : public testing::Test {
  protected:
    PolkitAccess::Programs programsWith(const std::string& script) {
        return {executable("pkexec", "#!/bin/sh\n" + script + "\n"), safeHelper};
    }
    std::filesystem::path executable(const std::string& name, const std::string& text) {
        const auto file = folder.write(name, text);
        EXPECT_EQ(chmod(file.c_str(), 0755), 0);
        return file;
    }
    /// Grants, and waits for the one answer.
    KeyboardAccess::Result answerOf(KeyboardAccess& access) {
        std::vector<KeyboardAccess::Result> answers;
        EXPECT_TRUE(access.grant([&](const auto& result) { answers.push_back(result); }));
        EXPECT_TRUE(answers.empty()) << "the answer came inside the call";
        EXPECT_TRUE(queue.runUntil([&] { return !answers.empty(); }));
        return answers.empty() ? KeyboardAccess::Result() : answers.front();
    }
    KeyboardAccess::Result answerTo(const std::string& script) {
        PolkitAccess access(queue, threads, programsWith(script));
        return answerOf(access);
    }
    [[nodiscard]] std::string textOf(const std::string& name) const {
        std::ifstream file(folder.path() / name);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    TempFolder folder;
    PumpedQueue queue;
    PlainThreads threads;
};

TEST_F(PolkitAccessTest, TellsHowThePersonAnsweredAndWhatWentWrong) {
    struct Case {
        std::string script;
        Outcome outcome;
        std::string explanation;
    };
    const std::string refused = "Error executing command as another user: ";
    for (const Case& row :
         std::vector<Case>{{"exit 0", Outcome::granted, ""},
                           {"echo 'a warning' >&2; exit 0", Outcome::granted, ""},
                           {"exit 3", Outcome::failed, "pkexec ended with 3"},
                           {"echo '" + refused + "Request dismissed' >&2; exit 126", Outcome::dismissed, ""},
                           {"echo '" + refused + "Not authorized' >&2; echo >&2; exit 127",
                            Outcome::notAuthorized, refused + "Not authorized"},
                           {"echo '" + refused + "No authentication agent found.' >&2; exit 127",
                            Outcome::cannotAsk, refused + "No authentication agent found."},
                           {"echo 'no room' >&2; exit 1", Outcome::failed, "no room"},
                           {"exit 1", Outcome::failed, "pkexec ended with 1"},
                           {"kill -KILL $$", Outcome::failed, "pkexec was stopped"},
                           // Nothing is kept of an endless complaint but its beginning.
                           {"yes 0123456789 | head -n 100000 >&2; exit 1", Outcome::failed,
                            "0123456789\n0123456789\n01"}}) {
        const auto answer = answerTo(row.script);
        EXPECT_EQ(answer.outcome, row.outcome) << row.script;
        EXPECT_EQ(answer.explanation.substr(0, row.explanation.empty() ? 0 : 24),
                  row.explanation.substr(0, 24))
            << row.script;
        EXPECT_LE(answer.explanation.size(), 1000U);
    }
}

TEST_F(PolkitAccessTest, RunsTheHelperAloneAndFreeOfTheProgramsSignals) {
    sigset_t before;
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, &before);
    const auto ignored = std::signal(SIGPIPE, SIG_IGN);
    const auto said = (folder.path() / "said").string();
    const auto answer = answerTo(
        "{ echo \"$@\"; grep -Eo '^Sig(Blk|Ign)|.{4}$' /proc/self/status | grep -A1 Sig; cat; } >" + said);
    std::signal(SIGPIPE, ignored);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    EXPECT_EQ(answer.outcome, Outcome::granted);
    EXPECT_EQ(textOf("said"), "--disable-internal-agent /usr/bin/true\n"
                              "SigBlk\n0000\nSigIgn\n0000\n");
}

TEST_F(PolkitAccessTest, AsksOneQuestionAtATimeAndMayAskAgainFromTheAnswer) {
    PolkitAccess access(queue, threads, programsWith("read -r line <" + (folder.path() / "gate").string()));
    ASSERT_EQ(mkfifo((folder.path() / "gate").c_str(), 0600), 0);
    int answers = 0;
    KeyboardAccess::Handler again = [&](const auto&) {
        if (++answers == 1) {
            EXPECT_TRUE(access.grant(again));
        }
    };
    EXPECT_TRUE(access.grant(again));
    EXPECT_FALSE(access.grant([](const auto&) { FAIL() << "two questions at once"; }));
    for (int round = 1; round <= 2; ++round) {
        std::ofstream(folder.path() / "gate") << "\n";
        ASSERT_TRUE(queue.runUntil([&] { return answers == round; }));
    }
    EXPECT_EQ(answers, 2);
}

TEST_F(PolkitAccessTest, EndsAnUnansweredQuestionWithItselfAndWithoutWaiting) {
    const auto started = std::chrono::steady_clock::now();
    pid_t asking = 0;
    {
        const auto file = folder.path() / "pid";
        // Like pkexec with the helper running as root, the second one does not mind being told to end.
        PolkitAccess access(queue, threads, programsWith("echo $$ >" + file.string() + "; exec sleep 600"));
        PolkitAccess stubborn(queue, threads,
                              {executable("stubborn", "#!/bin/sh\ntrap '' TERM\nsleep 5\n"), safeHelper});
        EXPECT_TRUE(access.grant([](const auto&) { FAIL() << "called after its end"; }));
        EXPECT_TRUE(stubborn.grant([](const auto&) { FAIL() << "called after its end"; }));
        ASSERT_TRUE(queue.runUntil([&] { return textOf("pid").ends_with("\n"); }));
        asking = std::stoi(textOf("pid"));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(4));
    int status = 0;
    EXPECT_TRUE(queue.runUntil([&] { return waitpid(asking, &status, WNOHANG) == asking; }));
    EXPECT_TRUE(WIFSIGNALED(status));
    queue.run();
}

TEST_F(PolkitAccessTest, TakesBackByTheSameHelper) {
    const auto said = (folder.path() / "said").string();
    PolkitAccess access(queue, threads, programsWith("echo \"$@\" >" + said));
    bool isDone = false;
    EXPECT_TRUE(access.revoke([&](const auto& result) { isDone = result.outcome == Outcome::granted; }));
    EXPECT_TRUE(queue.runUntil([&] { return isDone; }));
    EXPECT_EQ(textOf("said"), "--disable-internal-agent /usr/bin/true --revoke\n");
}

TEST_F(PolkitAccessTest, NeverHandsPkexecWhatOthersThanRootCouldChange) {
    const auto ran = folder.path() / "ran";
    const auto pkexec = executable("pkexec", "#!/bin/sh\ntouch " + ran.string() + "\n");
    const auto own = executable("keysong-grant-access", "#!/bin/sh\n");
    std::filesystem::create_symlink(own, folder.path() / "link");
    for (const auto& helper : {own, folder.path() / "link", folder.path() / "missing"}) {
        EXPECT_FALSE(PolkitAccess::isSafeToRun(helper)) << helper;
        PolkitAccess access(queue, threads, {pkexec, helper});
        EXPECT_FALSE(access.canGrant());
        const auto answer = answerOf(access);
        EXPECT_EQ(answer.outcome, Outcome::failed);
        EXPECT_NE(answer.explanation.find("not run as root"), std::string::npos) << answer.explanation;
    }
    EXPECT_FALSE(std::filesystem::exists(ran));
    EXPECT_TRUE(PolkitAccess::isSafeToRun(safeHelper));
    EXPECT_FALSE(PolkitAccess::isSafeToRun("/tmp")) << "root's, and everybody's";
}

TEST_F(PolkitAccessTest, KnowsWhetherItCanAskAtAll) {
    EXPECT_FALSE(PolkitAccess(queue, threads, {"", safeHelper}).canGrant());
    EXPECT_FALSE(PolkitAccess(queue, threads, {"/usr/bin/pkexec", ""}).canGrant());
    PolkitAccess access(queue, threads, {folder.path() / "removed meanwhile", safeHelper});
    EXPECT_TRUE(access.canGrant());
    const auto answer = answerOf(access);
    EXPECT_EQ(answer.outcome, Outcome::failed);
    EXPECT_NE(answer.explanation.find("removed meanwhile"), std::string::npos) << answer.explanation;

    executable("pkexec", "#!/bin/sh\n");
    const ScopedVariable path("PATH", ("relative:" + folder.path().string()).c_str());
    const auto found = PolkitAccess::installedPrograms();
    EXPECT_EQ(found.pkexec, folder.path() / "pkexec");
    EXPECT_EQ(found.helper.filename(), "keysong-grant-access") << "the build leaves it beside its programs";
    const ScopedVariable nowhere("PATH", "");
    EXPECT_TRUE(PolkitAccess::installedPrograms().pkexec.empty());
}

} // namespace
} // namespace keysong::test
