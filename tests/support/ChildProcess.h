#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace keysong::test {

/// Another program, started by a test and killed with it. Its output is thrown away, or kept in a file.
class ChildProcess {
  public:
    struct Setting {
        /// Added to the test's own environment; an empty value removes the variable.
        std::map<std::string, std::string> environment;
        /// Where the output goes.
        std::string output = "/dev/null";
        /// Not as root: some programs refuse to run as root.
        bool dropRoot = false;
    };

    ChildProcess() = default;
    ~ChildProcess() { kill(); }
    ChildProcess(ChildProcess&& other) noexcept : process_(std::exchange(other.process_, -1)) {}

    /// Whether a program is there to be started.
    [[nodiscard]] static bool isInstalled(const std::string& program);

    /// Starts a program, found by PATH where it has no slash, instead of the one that runs.
    void start(const std::vector<std::string>& words, const Setting& setting);
    [[nodiscard]] bool isRunning() const { return process_ > 0; }
    /// Its process id; -1 while none runs.
    [[nodiscard]] pid_t id() const { return process_; }
    /// Sends it a signal.
    void signal(int number) const;
    /// Kills it at once, as a crash would.
    void kill();
    /// Interrupts it as a person would, and waits for its end.
    void interrupt();
    /// Stops the program until `resume`: it holds what it has and answers nobody.
    void pause() const;
    void resume() const;
    /// Whether it has ended by itself; `wait` then returns at once.
    [[nodiscard]] bool hasEnded() const;
    /// Waits for its end and returns its wait status: 0 for a good end.
    int wait();

    /// Starts a program, waits for its end, and returns its exit status.
    static int run(const std::vector<std::string>& words, const Setting& setting);

    /// Who owns the files of programs that dropped root; the test itself where it is not root.
    [[nodiscard]] static uid_t ordinaryUser();

  private:
    pid_t process_ = -1;
};

} // namespace keysong::test
