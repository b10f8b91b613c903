#include "Linux/Decoder/ChildArchives.h"
#include "Linux/Decoder/ChildAudioFiles.h"
#include "Linux/Decoder/DecoderSandbox.h"
#include "Linux/Decoder/MappedFile.h"
#include "Linux/Decoder/PackedList.h"
#include "Linux/Files/PackedArchives.h"
#include "Linux/Sound/SndfileAudio.h"
#include "Linux/System/Utf8Characters.h"
#include "support/PackedFile.h"
#include "support/TempFolder.h"
#include "support/WaveFile.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <functional>
#include <string>

namespace keysong {
namespace {

namespace fs = std::filesystem;
using test::PackedEntry;
using test::Packing;
using test::writePacked;
using testing::HasSubstr;

/// The children of this process that run `name`.
std::vector<pid_t> childrenNamed(const std::string& name) {
    std::vector<pid_t> found;
    std::ifstream list("/proc/self/task/" + std::to_string(getpid()) + "/children");
    for (pid_t child = 0; list >> child;) {
        std::string running;
        std::getline(std::ifstream("/proc/" + std::to_string(child) + "/comm"), running);
        if (running == name) {
            found.push_back(child);
        }
    }
    return found;
}

class DecodingChildTest : public testing::Test {
  protected:
    [[nodiscard]] static std::string errorOf(const AudioFiles& files, const fs::path& path) {
        try {
            const auto reader = files.open(path);
            std::vector<float> frames(reader->format().channels * 10);
            reader->read(frames);
        } catch (const AudioFileError& error) {
            return error.what();
        }
        return {};
    }
    /// As `errorOf`, with another program for a child.
    [[nodiscard]] std::string errorWith(const fs::path& program) const {
        const DecodingChild other(program);
        return errorOf(ChildAudioFiles(other, direct_), sound_);
    }

    test::TempFolder folder_;
    const fs::path sound_ = folder_.write("a.wav", test::waveBytes(test::sine(1000, 4800, 48000)));
    SndfileAudio direct_;
    DecodingChild child_{KEYSONG_DECODER};
    ChildAudioFiles files_{child_, direct_};
};

constexpr ArchiveLimits limits{1U << 20U, 5000, 20000, 10, std::chrono::seconds(20)};

/// What an archive holds, or why it can't be opened.
std::string contentOf(const Archives& archives, const fs::path& path) {
    std::string result;
    try {
        const auto archive = archives.open(path, limits);
        for (std::size_t index = 0; index < archive->entries().size(); ++index) {
            const ArchiveEntry& entry = archive->entries()[index];
            result += entry.name + " " + std::to_string(static_cast<int>(entry.kind)) + " " +
                      std::to_string(entry.bytes) + ": ";
            try {
                result += archive->read(index, limits.largestEntryBytes);
            } catch (const ArchiveError& error) {
                result += error.what();
            }
            result += "\n";
        }
    } catch (const ArchiveError& error) {
        result = error.what();
    }
    return result;
}

TEST_F(DecodingChildTest, AnArchiveIsTheSameInTheChild) {
    const ChildArchives guarded(child_);
    const PackedArchives direct;
    useUtf8Characters();
    for (const Packing packing : {Packing::zip, Packing::sevenZip, Packing::tarGzip}) {
        std::vector<PackedEntry> some = {{"p/config.json", "{}"},
                                         {"p/\xC3\xA4.wav", "\1\2\3"},
                                         {"p/empty", ""},
                                         {"p/large", std::string(6000, 'x')},
                                         {"p/link", "a.wav", true}};
        if (packing != Packing::sevenZip) {
            some.push_back({"p/\xE4.wav", "a name in another code"});
        }
        const fs::path path = folder_.path() / "packed";
        writePacked(path, some, packing);
        const std::string content = contentOf(direct, path);
        EXPECT_THAT(content, HasSubstr("the file is too large"));
        EXPECT_THAT(content, HasSubstr("p/config.json 0 2: {}\n"));
        EXPECT_EQ(contentOf(guarded, path), content);
    }
    writePacked(folder_.path() / "many", std::vector<PackedEntry>(11, {"same", "x"}));
    writePacked(folder_.path() / "much", std::vector<PackedEntry>(5, {"same", std::string(4500, 'x')}));
    folder_.write("garbage", "PK and nothing more");
    for (const char* const name : {"many", "much", "garbage", "missing", "."}) {
        EXPECT_EQ(contentOf(guarded, folder_.path() / name), contentOf(direct, folder_.path() / name));
    }
}

TEST_F(DecodingChildTest, LivesFromTheFirstFileUntilItMayRest) {
    EXPECT_TRUE(childrenNamed("keysong-decoder").empty());
    EXPECT_EQ(errorOf(files_, sound_), "");
    const auto first = childrenNamed("keysong-decoder");
    ASSERT_EQ(first.size(), 1U);
    EXPECT_EQ(errorOf(files_, sound_), "");
    EXPECT_EQ(childrenNamed("keysong-decoder"), first) << "one for all files";
    files_.rest();
    EXPECT_TRUE(childrenNamed("keysong-decoder").empty());
    EXPECT_EQ(errorOf(files_, sound_), "");
}

TEST_F(DecodingChildTest, AChildThatEndsOrHangsCostsOneFile) {
    EXPECT_EQ(errorOf(files_, sound_), "");
    kill(childrenNamed("keysong-decoder").at(0), SIGKILL);
    EXPECT_THAT(errorOf(files_, sound_), HasSubstr("cannot read a.wav: the decoder failed on it"));
    EXPECT_EQ(errorOf(files_, sound_), "");
    const FileDescriptor file = SndfileAudio::openRegularFile(sound_);
    kill(childrenNamed("keysong-decoder").at(0), SIGSTOP);
    EXPECT_THROW(static_cast<void>(child_.ask({}, file, std::chrono::milliseconds(50))), DecodingError);
    EXPECT_TRUE(childrenNamed("keysong-decoder").empty());
    EXPECT_EQ(errorOf(files_, sound_), "");
}

TEST_F(DecodingChildTest, AnotherProgramInItsPlaceIsNotBelieved) {
    EXPECT_THAT(errorWith("/nowhere/keysong-decoder"), HasSubstr("the decoder does not start"));
    EXPECT_THAT(errorWith("/bin/true"), HasSubstr("the decoder failed on it"));
    // Sends the request back: a message of another size.
    const fs::path echo = folder_.write("echo", "#!/bin/sh\nexec cat <&3 >&3\n");
    fs::permissions(echo, fs::perms::owner_all);
    EXPECT_THAT(errorWith(echo), HasSubstr("the decoder failed on it"));
}

TEST_F(DecodingChildTest, OnlyFilesThatNobodyCanChangeAreMapped) {
    FileDescriptor file(memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    ASSERT_EQ(write(file.get(), "four", 4), 4);
    EXPECT_THROW(MappedFile(file, 4), std::runtime_error) << "not sealed";
    ASSERT_EQ(fcntl(file.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE), 0);
    EXPECT_THROW(MappedFile(file, 1U << 30U), std::runtime_error) << "not of that size";
    EXPECT_EQ(MappedFile(file, 4).bytes(), "four");
}

TEST_F(DecodingChildTest, AListThatLiesIsRefused) {
    const auto listOf = [](const std::string& bytes) {
        FileDescriptor file(memfd_create("test", MFD_CLOEXEC | MFD_ALLOW_SEALING));
        EXPECT_EQ(write(file.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        EXPECT_EQ(fcntl(file.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE), 0);
        return archiveOfPackedList(file, bytes.size(), 10);
    };
    std::string good;
    writePacked(folder_.path() / "packed", {{"name", "content"}});
    writePackedList(*PackedArchives().open(folder_.path() / "packed", limits),
                    [&good](std::string_view piece) { good += piece; });
    EXPECT_EQ(listOf(good)->read(0, 100), "content");
    EXPECT_THROW(static_cast<void>(listOf(good.substr(0, good.size() - 1))), ArchiveError);
    for (std::size_t at = 8; at < 32; ++at) {
        std::string lying = good;
        lying[at] = '\xFF'; // in one of the three lengths
        EXPECT_THROW(static_cast<void>(listOf(lying)), ArchiveError) << at;
    }
}

TEST_F(DecodingChildTest, OnlyFilesOfStrangersAreGivenToTheChild) {
    fs::create_directories(folder_.path() / "own/sub");
    const fs::path own = folder_.path() / "own/sub/a.wav";
    fs::copy_file(sound_, own);
    const GuardedAudioFiles files(direct_, files_, folder_.path() / "own");
    EXPECT_EQ(errorOf(files, own), "");
    EXPECT_TRUE(childrenNamed("keysong-decoder").empty());
    EXPECT_EQ(errorOf(files, folder_.path() / "own/../a.wav"), "");
    EXPECT_EQ(childrenNamed("keysong-decoder").size(), 1U);
}

/// Locks a new process down and has it try something: whether that worked.
bool worksWhenLockedDown(const std::function<bool()>& tried) {
    const pid_t child = fork();
    if (child == 0) {
        constexpr DecoderLimits most{1UL << 30U, 60};
        _exit(!lockDownForDecoding(most) ? 2 : tried() ? 1 : 0);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) < 2) << status;
    return WEXITSTATUS(status) == 1;
}

TEST_F(DecodingChildTest, WhatReadingDoesNotNeedIsRefused) {
    const std::string path = sound_.string();
    struct Row {
        const char* name;
        std::function<bool()> tried;
    };
    const Row rows[] = {
        {"a socket to an address", [] { return socket(AF_INET, SOCK_STREAM, 0) >= 0; }},
        {"a socket on this machine", [] { return socket(AF_UNIX, SOCK_STREAM, 0) >= 0; }},
        {"a file", [&] { return open(path.c_str(), O_RDONLY | O_CLOEXEC) >= 0; }},
        {"a new file", [&] { return creat((path + ".new").c_str(), 0600) >= 0; }},
        {"the end of a file", [&] { return unlink(path.c_str()) == 0; }},
        {"another process", [] { return fork() >= 0; }},
        {"a signal", [] { return kill(getppid(), 0) == 0; }},
        {"another process's memory", [] { return ptrace(PTRACE_ATTACH, getppid(), nullptr, nullptr) == 0; }},
        {"a program",
         [] {
             char name[] = "/bin/true";
             char* const words[] = {name, nullptr};
             return execv(name, words) == 0;
         }},
        {"room for a core",
         [] {
             rlimit limit{1, 1};
             return setrlimit(RLIMIT_CORE, &limit) == 0;
         }},
    };
    for (const Row& row : rows) {
        EXPECT_FALSE(worksWhenLockedDown(row.tried)) << row.name;
    }
    EXPECT_TRUE(worksWhenLockedDown([] { return memfd_create("room", MFD_CLOEXEC) >= 0; }));
}

} // namespace
} // namespace keysong
