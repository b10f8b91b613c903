#pragma once

#include "Platform/LogSink.h"
#include "Shared/LogFormat.h"

#include <concepts>
#include <string>
#include <string_view>
#include <type_traits>

namespace keysong {

/// The program's one logger: subsystem "com.orlen.keysong", category "app".
///
/// A message is a fixed text with typed placeholders, checked when the program is compiled:
/// "%{public}s" and "%s" take text, "%{public}ld" and "%{public}d" signed and "%{public}u" unsigned
/// integers, "%{bool}d" a bool. Text without "public" is private: a log shows "<private>" in its place
/// unless the user enabled more.
///
/// Any thread but the render thread. The event-tap thread logs only what has gone wrong, or in verbose mode.
class Logger {
  public:
    template <typename... Args>
    using Format = LogFormat<std::type_identity_t<Args>...>;

    template <typename... Args>
    void info(Format<Args...> format, const Args&... args) const {
        write(LogLevel::info, format.text(), args...);
    }
    template <typename... Args>
    void notice(Format<Args...> format, const Args&... args) const {
        write(LogLevel::notice, format.text(), args...);
    }
    template <typename... Args>
    void error(Format<Args...> format, const Args&... args) const {
        write(LogLevel::error, format.text(), args...);
    }

    /// Where messages go from now on; null drops them. Call while no other thread logs. The sink
    /// outlives its use.
    static void setSink(LogSink* sink) noexcept;

  private:
    template <typename... Args>
    static void write(LogLevel level, std::string_view format, const Args&... args) {
        const LogArgument arguments[] = {LogArgument(args)..., LogArgument()};
        write(level, format, arguments);
    }
    static void write(LogLevel level, std::string_view format, const LogArgument* arguments);
};

inline constexpr Logger log{};

/// Whether the engine logs a line for every sound: `KEYSONG_LOG` was exactly "1" when this was first
/// asked. Any thread; the first call reads the environment.
[[nodiscard]] bool verboseLogging();

} // namespace keysong
