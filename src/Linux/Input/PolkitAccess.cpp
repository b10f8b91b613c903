#include "Linux/Input/PolkitAccess.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <sstream>
#include <system_error>
#include <utility>

namespace keysong {

namespace {

namespace fs = std::filesystem;

constexpr const char* helperName = "keysong-grant-access";
/// Enough for any reason; the rest is left unread.
constexpr std::size_t longestErrors = 1000;

bool isExecutable(const fs::path& file) {
    return access(file.c_str(), X_OK) == 0;
}

fs::path inSearchPath(const char* program) {
    const char* path = std::getenv("PATH");
    std::istringstream folders(path == nullptr ? "" : path);
    for (std::string folder; std::getline(folders, folder, ':');) {
        const fs::path file = fs::path(folder) / program;
        if (file.is_absolute() && isExecutable(file)) {
            return file;
        }
    }
    return {};
}

/// Whether root alone can change what is at the path, which has no symbolic links.
bool belongsToRoot(const fs::path& path) {
    struct stat facts {};
    return lstat(path.c_str(), &facts) == 0 && facts.st_uid == 0 &&
           (facts.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

fs::path installedHelper() {
    std::error_code error;
    const fs::path folder = fs::read_symlink("/proc/self/exe", error).parent_path();
    for (const fs::path& place : {fs::path("../libexec"), fs::path(".")}) {
        // polkit knows the helper by its one true path.
        fs::path file = fs::canonical(folder / place / helperName, error);
        if (!error && isExecutable(file)) {
            return file;
        }
    }
    return {};
}

std::string trimmed(const std::string& text) {
    constexpr const char* blanks = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(blanks);
    return begin == std::string::npos ? std::string()
                                      : text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

} // namespace

PolkitAccess::Programs PolkitAccess::installedPrograms() {
    return {inSearchPath("pkexec"), installedHelper()};
}

PolkitAccess::Result PolkitAccess::resultOf(int status, const std::string& errors) {
    constexpr int wasDismissed = 126;
    constexpr int notAuthorized = 127;
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    switch (code) {
    case 0:
        return {Outcome::granted, {}};
    case wasDismissed:
        return {Outcome::dismissed, {}};
    case notAuthorized:
        // The one text by which pkexec tells that nobody was asked at all.
        return {errors.find("No authentication agent found") != std::string::npos ? Outcome::cannotAsk
                                                                                  : Outcome::notAuthorized,
                trimmed(errors)};
    default:
        break;
    }
    std::string explanation = trimmed(errors);
    if (explanation.empty()) {
        explanation = code < 0 ? "pkexec was stopped" : "pkexec ended with " + std::to_string(code);
    }
    return {Outcome::failed, std::move(explanation)};
}

PolkitAccess::PolkitAccess(TaskQueue& mainQueue, Threads& threads, Programs programs)
    : mainQueue_(mainQueue), threads_(threads), programs_(std::move(programs)) {
}

PolkitAccess::~PolkitAccess() {
    service_.reset();
    if (process_) {
        // Refused when the helper runs as root already, without effect when it has ended.
        process_->signal(SIGTERM);
    }
}

bool PolkitAccess::isSafeToRun(const fs::path& helper) {
    std::error_code error;
    fs::path part = fs::canonical(helper, error);
    if (error) {
        return false;
    }
    // Whoever may write to a folder may put another file there.
    while (belongsToRoot(part)) {
        if (part == part.root_path()) {
            return true;
        }
        part = part.parent_path();
    }
    return false;
}

bool PolkitAccess::canGrant() const {
    return !programs_.pkexec.empty() && isSafeToRun(programs_.helper);
}

bool PolkitAccess::grant(Handler handler) {
    return run({}, std::move(handler));
}

bool PolkitAccess::revoke(Handler handler) {
    return run({"--revoke"}, std::move(handler));
}

bool PolkitAccess::run(std::vector<std::string> arguments, Handler handler) {
    if (handler_) {
        return false;
    }
    handler_ = std::move(handler);
    const auto finishLater = [this](const Result& result) {
        mainQueue_.async(lifetime_.guarded([this, result] { finish(result); }));
    };
    if (!isSafeToRun(programs_.helper)) {
        finishLater(
            {Outcome::failed, programs_.helper.string() +
                                  " is not run as root: others than root may change it. Install Keysong, or "
                                  "use the command"});
        return true;
    }
    try {
        start(arguments);
        service_->async([this, finishLater, &loop = service_->loop()] {
            const bool watched = loop.watch(process_->descriptor(), [this, finishLater, &loop] {
                loop.unwatch(process_->descriptor());
                finishLater(collect());
            });
            if (!watched) {
                finishLater({Outcome::failed, "pkexec cannot be watched"});
            }
        });
    } catch (const std::system_error& error) {
        finishLater({Outcome::failed, error.what()});
    }
    return true;
}

void PolkitAccess::start(const std::vector<std::string>& arguments) {
    service_.emplace(threads_, ThreadAttributes{"com.orlen.keysong.access", "access"});
    errors_.reset(memfd_create("pkexec errors", MFD_CLOEXEC));
    SpawnedProcess::Setting setting;
    // pkexec's own dialog in a terminal would ask where nobody looks.
    setting.words = {programs_.pkexec, "--disable-internal-agent", programs_.helper};
    setting.words.insert(setting.words.end(), arguments.begin(), arguments.end());
    setting.environment = SpawnedProcess::ownEnvironment();
    setting.errors = errors_.get();
    process_.emplace(setting);
}

PolkitAccess::Result PolkitAccess::collect() const {
    const int status = process_->collect().value_or(W_EXITCODE(0, SIGKILL));
    std::string errors(longestErrors, '\0');
    const ssize_t length = pread(errors_.get(), errors.data(), errors.size(), 0);
    errors.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return resultOf(status, errors);
}

void PolkitAccess::finish(const Result& result) {
    service_.reset();
    process_.reset();
    errors_.reset();
    const Handler handler = std::exchange(handler_, nullptr);
    handler(result); // which may ask again
}

std::string PolkitAccess::command() const {
    return "sudo setfacl -m \"u:$USER:r\" /dev/input/event*";
}

} // namespace keysong
