#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace keysong {

/// One argument of a log message; a view that lives for the duration of the call.
class LogArgument {
  public:
    LogArgument() = default;
    explicit LogArgument(std::string_view text) : text_(text) {}
    explicit LogArgument(const std::string& text) : text_(text) {}
    explicit LogArgument(const char* text) : text_(text) {}
    explicit LogArgument(bool value) : text_(value ? "true" : "false") {}
    template <std::integral Integer>
    requires(!std::same_as<Integer, bool>) explicit LogArgument(Integer value) : isNumber_(true) {
        if constexpr (std::signed_integral<Integer>) {
            negative_ = value < 0;
        }
        // Negation in the unsigned type is defined for every value.
        magnitude_ = negative_ ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
    }

    void appendTo(std::string& message) const {
        if (!isNumber_) {
            message += text_;
            return;
        }
        if (negative_) {
            message += '-';
        }
        message += std::to_string(magnitude_);
    }

  private:
    std::string_view text_;
    std::uint64_t magnitude_ = 0;
    bool negative_ = false;
    bool isNumber_ = false;
};

/// One placeholder of a log format.
struct LogPlaceholder {
    std::size_t begin = std::string_view::npos;
    std::size_t end = 0;
    bool isPublic = false;
    bool isBool = false;
    /// The conversion with its length modifier: "s", "d", "ld" or "u".
    std::string_view conversion;

    [[nodiscard]] constexpr bool found() const { return begin != std::string_view::npos; }
    [[nodiscard]] constexpr bool isText() const { return conversion == "s"; }

    /// The first placeholder at or after `from`. An ill-formed one has an empty conversion.
    [[nodiscard]] static constexpr LogPlaceholder next(std::string_view format, std::size_t from) {
        LogPlaceholder result;
        result.begin = format.find('%', from);
        if (!result.found()) {
            return result;
        }
        std::size_t at = result.begin + 1;
        if (format.substr(at).starts_with("{public}")) {
            result.isPublic = true;
            at += 8;
        } else if (format.substr(at).starts_with("{bool}")) {
            result.isBool = true;
            at += 6;
        }
        for (const std::string_view conversion : {"ld", "s", "d", "u"}) {
            if (format.substr(at).starts_with(conversion)) {
                result.conversion = format.substr(at, conversion.size());
                at += conversion.size();
                break;
            }
        }
        result.end = at;
        return result;
    }
};

/// A log message's fixed text, whose placeholders fit `Args` or the program does not compile.
template <typename... Args>
class LogFormat {
  public:
    template <std::size_t Size>
    // NOLINTNEXTLINE(google-explicit-constructor): a text literal is meant to become a format.
    consteval LogFormat(const char (&text)[Size]) : text_(text, Size - 1) {
        std::size_t at = 0;
        bool fits = true;
        [[maybe_unused]] const auto check = [&]<typename Argument>(std::type_identity<Argument>) {
            const LogPlaceholder placeholder = LogPlaceholder::next(text_, at);
            at = placeholder.end;
            fits = fits && placeholder.found() && accepts<Argument>(placeholder);
        };
        (check(std::type_identity<Args>{}), ...);
        if (!fits || LogPlaceholder::next(text_, at).found()) {
            throw "the placeholders of this log format do not fit its arguments";
        }
    }

    [[nodiscard]] constexpr std::string_view text() const { return text_; }

  private:
    template <typename Argument>
    static constexpr bool accepts(const LogPlaceholder& placeholder) {
        using Plain = std::remove_cvref_t<Argument>;
        if (std::same_as<Plain, bool>) {
            return placeholder.isBool && placeholder.conversion == "d";
        }
        if (std::signed_integral<Plain>) {
            return placeholder.conversion == (sizeof(Plain) > 4 ? "ld" : "d") && !placeholder.isBool;
        }
        if (std::unsigned_integral<Plain>) {
            return placeholder.conversion == "u";
        }
        return placeholder.isText() && !placeholder.isBool;
    }

    std::string_view text_;
};

} // namespace keysong
