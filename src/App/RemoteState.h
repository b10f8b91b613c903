#pragma once

#include "App/AppState.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QVariant>
#include <chrono>
#include <functional>
#include <map>

namespace keysong {

/// The state of the program that runs, for another program on the same session bus: a copy that follows it,
/// and requests that go to it. A new value shows at once; one that is refused goes back to what it was.
///
/// Main thread. Nothing waits for an answer: the copy holds the defaults until `loaded`.
class RemoteState final : public AppState {
    Q_OBJECT

  public:
    /// For the first answer.
    static constexpr std::chrono::seconds patience{2};

    /// The bus on which the program is.
    explicit RemoteState(const QDBusConnection& bus);

    /// Asks for everything; `loaded` or `lost` follows.
    void load();

    void change(const SettingChange& change) override;
    [[nodiscard]] bool systemGivesAccess() const override { return systemGivesAccess_; }
    [[nodiscard]] std::string hotkeyWay() const override { return hotkeyWay_; }
    [[nodiscard]] std::optional<std::string> playingOn() const override { return playingOn_; }
    [[nodiscard]] std::int64_t lateHits() const override { return lateHits_; }
    [[nodiscard]] std::int64_t xruns() const override { return xruns_; }
    void previewSet(const std::string& id) override;
    void resetStats() override;
    /// Ends the program.
    void quit();
    /// Takes how many keys were pressed so far from the program itself. From then on what the bus says of it
    /// does not count, since it is older.
    void setKeysPressed(std::int64_t total);
    void showSettings() override { emit settingsWanted(); }
    void showOnboarding() override { emit onboardingWanted(); }

  signals:
    /// Everything has come.
    void loaded();
    /// The program ended, or does not answer for this reason.
    void lost(const QString& reason);
    void settingsWanted();
    void onboardingWanted();

  private slots:
    void propertiesChanged(const QString& interface, const QVariantMap& values, const QStringList& unnamed);

  private:
    /// A setting whose new value is on its way.
    struct Request {
        /// What is wanted by now, if it is not the value on its way.
        QVariant next;
        /// What the program said last in the meantime.
        QVariant heard;
    };

    void ask(const QDBusMessage& question, std::chrono::milliseconds limit,
             const std::function<void(const QDBusMessage&)>& answered);
    void send(const QString& property, const QVariant& value);
    void answered(const QString& property, const QDBusMessage& answer);
    void take(const QVariantMap& values);
    void take(const QString& property, const QVariant& value);
    void call(const char* method, const QVariantList& arguments);

    QDBusConnection bus_;
    QDBusServiceWatcher watcher_;
    /// By the names of the properties.
    std::map<QString, Request> requests_;
    bool systemGivesAccess_ = false;
    std::string hotkeyWay_;
    std::optional<std::string> playingOn_;
    std::int64_t lateHits_ = 0;
    std::int64_t xruns_ = 0;
    bool hasLiveCount_ = false;
};

} // namespace keysong
