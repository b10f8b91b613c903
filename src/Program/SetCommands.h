#pragma once

#include <exception>

namespace CLI {
class App;
}

namespace keysong {

/// A set was checked, and what is wrong with it is printed already.
class SetHasProblems : public std::exception {};

/// Adds the commands that work on the files of sound sets and need no running program: "import" and "check".
/// An import waits until a running one lists its sets, for some seconds at most. They print to standard
/// output. "import" throws `PackError`, "check" `SetHasProblems`.
void addSetCommands(CLI::App& app);

} // namespace keysong
