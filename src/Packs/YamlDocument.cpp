#include "Packs/YamlDocument.h"

#include "Shared/JsonDocument.h"

#include <nlohmann/json.hpp>
#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/exceptions.h>
#include <yaml-cpp/parser.h>

#include <sstream>
#include <vector>

namespace keysong {

namespace {

using Json = nlohmann::json;

/// Builds the tree from the parser's events, within bounds.
class TreeBuilder final : public YAML::EventHandler {
  public:
    [[nodiscard]] Json take() { return std::move(root_); }

    void OnDocumentStart(const YAML::Mark&) override {}
    void OnDocumentEnd() override {}
    void OnNull(const YAML::Mark&, YAML::anchor_t) override { put(nullptr); }
    void OnAlias(const YAML::Mark&, YAML::anchor_t) override {
        throw YamlDocumentError("aliases are not supported");
    }
    void OnScalar(const YAML::Mark&, const std::string&, YAML::anchor_t, const std::string& value) override {
        put(value);
    }
    void OnSequenceStart(const YAML::Mark&, const std::string&, YAML::anchor_t,
                         YAML::EmitterStyle::value) override {
        open(Json::array());
    }
    void OnSequenceEnd() override { levels_.pop_back(); }
    void OnMapStart(const YAML::Mark&, const std::string&, YAML::anchor_t,
                    YAML::EmitterStyle::value) override {
        open(Json::object());
    }
    void OnMapEnd() override { levels_.pop_back(); }

  private:
    struct Level {
        Json* node;
        bool hasKey = false;
        std::string key;
    };

    void open(Json container) {
        if (levels_.size() >= static_cast<std::size_t>(deepestJsonNesting)) {
            throw YamlDocumentError("the file is nested too deeply");
        }
        if (Json* const node = put(std::move(container))) {
            levels_.push_back({node, false, {}});
        } else {
            // A container as a key: nothing is looked up under it, but its end must find a level.
            discarded_.push_back(std::make_unique<Json>(Json::object()));
            levels_.push_back({discarded_.back().get(), false, {}});
        }
    }

    /// Puts a value where the next one belongs and returns its place; null when it is a mapping's key.
    Json* put(Json value) {
        if (levels_.empty()) {
            root_ = std::move(value);
            return &root_;
        }
        Level& level = levels_.back();
        if (level.node->is_array()) {
            level.node->push_back(std::move(value));
            return &level.node->back();
        }
        if (!level.hasKey) {
            level.hasKey = true;
            level.key = value.is_string() ? value.get<std::string>() : std::string();
            return nullptr;
        }
        level.hasKey = false;
        return &((*level.node)[level.key] = std::move(value));
    }

    Json root_;
    std::vector<Level> levels_;
    std::vector<std::unique_ptr<Json>> discarded_;
};

} // namespace

Json parseYamlObject(std::string_view text, std::size_t largestBytes) {
    if (text.size() > largestBytes) {
        throw YamlDocumentError("the file is too large");
    }
    TreeBuilder builder;
    try {
        std::istringstream stream{std::string(text)};
        YAML::Parser parser(stream);
        parser.HandleNextDocument(builder);
    } catch (const YAML::Exception& error) {
        throw YamlDocumentError(error.what());
    }
    Json document = builder.take();
    if (!document.is_object()) {
        throw YamlDocumentError("the top level is not a mapping");
    }
    return document;
}

} // namespace keysong
