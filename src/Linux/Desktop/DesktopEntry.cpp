#include "Linux/Desktop/DesktopEntry.h"

#include <algorithm>

namespace keysong {

namespace {

constexpr std::string_view autostartKey = "X-GNOME-Autostart-enabled";

constexpr std::string_view blanks = " \t\r";

std::string_view trim(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(blanks);
    return begin == std::string_view::npos ? std::string_view()
                                           : text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

/// Cuts the text at the first `separator`, and returns what stands before it.
std::string_view takeUntil(std::string_view& text, char separator) {
    const std::size_t end = text.find(separator);
    const std::string_view result = text.substr(0, end);
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    return result;
}

std::string unescape(std::string_view value) {
    std::string result;
    result.reserve(value.size());
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (value[i] != '\\' || i + 1 == value.size()) {
            result += value[i];
            continue;
        }
        constexpr std::string_view codes = "sntr";
        const char code = value[++i];
        const std::size_t known = codes.find(code);
        if (known != std::string_view::npos) {
            result += " \n\t\r"[known];
        } else if (code == '\\') {
            result += code;
        } else {
            result += {'\\', code};
        }
    }
    return result;
}

/// Takes one word off a command line, by the quoting rules of desktop files.
std::string takeWord(std::string_view& command) {
    std::string word;
    command = trim(command);
    bool quoted = false;
    std::size_t i = 0;
    for (; i < command.size(); ++i) {
        const char c = command[i];
        if (c == '"') {
            quoted = !quoted;
        } else if (c == '\\' && i + 1 < command.size()) {
            word += command[++i];
        } else if (!quoted && blanks.find(c) != std::string_view::npos) {
            break;
        } else {
            word += c;
        }
    }
    command.remove_prefix(i);
    return word;
}

std::string programOf(std::string_view command) {
    std::string word = takeWord(command);
    if (word == "env" || word.ends_with("/env")) {
        do {
            word = takeWord(command);
        } while (word.starts_with('-') || word.find('=') != std::string::npos);
    }
    return word;
}

/// Collects the values of the keys that are read, the best translation of each.
class Collector {
  public:
    explicit Collector(const std::vector<std::string>& languages) : languages_(languages) {}

    void add(std::string_view key, std::string_view value) {
        std::size_t rank = languages_.size(); // without a language: behind every translation
        if (const std::size_t bracket = key.find('['); bracket != std::string_view::npos) {
            std::string_view language = key.substr(bracket + 1);
            language = takeUntil(language, ']');
            rank = static_cast<std::size_t>(std::ranges::find(languages_, language) - languages_.begin());
            if (rank == languages_.size()) {
                return;
            }
            key = trim(key.substr(0, bracket));
        }
        for (Value& slot : values_) {
            if (slot.key == key && rank < slot.rank) {
                slot.rank = rank;
                slot.text = value;
            }
        }
    }

    [[nodiscard]] std::string text(std::string_view key) const {
        return unescape(std::ranges::find(values_, key, &Value::key)->text);
    }
    [[nodiscard]] bool flag(std::string_view key) const {
        const std::string value = text(key);
        return value == "true" || value == "1";
    }

  private:
    struct Value {
        std::string_view key;
        std::string_view text;
        std::size_t rank = static_cast<std::size_t>(-1);
    };

    const std::vector<std::string>& languages_;
    Value values_[8] = {{"Type", {}},      {"Name", {}},           {"Icon", {}},   {"Exec", {}},
                        {"NoDisplay", {}}, {"StartupWMClass", {}}, {"Hidden", {}}, {autostartKey, {}}};
};

/// "de_AT.UTF-8@euro" gives "de_AT@euro", "de_AT", "de@euro" and "de".
void addVariants(std::string_view locale, std::vector<std::string>& languages) {
    std::string_view rest = locale;
    const std::string_view front = takeUntil(rest, '@');
    const std::string modifier = rest.empty() ? std::string() : "@" + std::string(rest);
    std::string_view place = front;
    place = takeUntil(place, '.');
    const std::string full(place);
    const std::string language(takeUntil(place, '_'));
    if (language.empty() || language == "C" || language == "POSIX") {
        return;
    }
    for (const std::string& variant : {full + modifier, full, language + modifier, language}) {
        if (std::ranges::find(languages, variant) == languages.end()) {
            languages.push_back(variant);
        }
    }
}

} // namespace

std::optional<DesktopEntry> parseDesktopEntry(std::string_view text,
                                              const std::vector<std::string>& languages) {
    if (text.starts_with("\xEF\xBB\xBF")) {
        text.remove_prefix(3);
    }
    Collector values(languages);
    bool found = false;
    bool inside = false;
    while (!text.empty()) {
        const std::string_view line = trim(takeUntil(text, '\n'));
        if (line.starts_with('[')) {
            inside = line == "[Desktop Entry]";
            found = found || inside;
        } else if (const std::size_t equals = line.find('=');
                   inside && equals != std::string_view::npos && !line.starts_with('#')) {
            values.add(trim(line.substr(0, equals)), trim(line.substr(equals + 1)));
        }
    }
    const std::string type = values.text("Type");
    // A file that only hides another often has nothing but that one key.
    if (!found || (type != "Application" && !type.empty())) {
        return std::nullopt;
    }
    return DesktopEntry{values.text("Name"),
                        values.text("Icon"),
                        programOf(values.text("Exec")),
                        values.text("StartupWMClass"),
                        values.flag("NoDisplay"),
                        values.flag("Hidden"),
                        values.text(autostartKey) != "false"};
}

std::vector<std::string> desktopLanguages(const Places& places) {
    std::string locale;
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        if (locale.empty()) {
            locale = places.environment(variable).value_or("");
        }
    }
    std::vector<std::string> languages;
    if (!locale.empty() && !locale.starts_with("C.") && locale != "C" && locale != "POSIX") {
        const std::string wishes = places.environment("LANGUAGE").value_or("");
        for (std::string_view rest = wishes; !rest.empty();) {
            addVariants(takeUntil(rest, ':'), languages);
        }
    }
    addVariants(locale, languages);
    return languages;
}

} // namespace keysong
