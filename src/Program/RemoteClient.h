#pragma once

#include <QString>
#include <QVariant>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace keysong {

/// The running program did not do what it was asked; `what()` says why, for a person.
class RemoteClientError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The running program's remote control, as `keysongctl` uses it. Every call waits for the answer and throws
/// `RemoteClientError` when there is none, or when it is a refusal. Main thread, after the toolkit's
/// application object was made.
class RemoteClient {
  public:
    struct Choice {
        std::string id;
        std::string name;
    };

    /// What is worth knowing at a glance, as a table and as JSON.
    [[nodiscard]] std::string status(bool asJson) const;
    /// The installed sets, the chosen one marked.
    [[nodiscard]] std::string sets() const;
    /// The identifiers of the installed sets, as the running program knows them.
    [[nodiscard]] std::vector<std::string> setIds() const;
    /// The outputs, the chosen one marked.
    [[nodiscard]] std::string outputs() const;
    [[nodiscard]] std::string stats() const;
    [[nodiscard]] double number(const char* property) const;
    [[nodiscard]] std::string text(const char* property) const;

    /// Shows the settings on this process's display.
    void showSettings() const;
    void set(const char* property, const QVariant& value) const;
    /// Calls a method of the control interface; returns its first answer, if any.
    QVariant call(const char* method, const QVariantList& arguments = {}) const;

  private:
    [[nodiscard]] QVariant get(const char* property) const;
    [[nodiscard]] QVariantMap all() const;
    [[nodiscard]] static std::vector<Choice> choicesIn(const QVariant& value);
    [[nodiscard]] static std::string marked(const std::vector<Choice>& choices, const std::string& chosen);
};

} // namespace keysong
