#include "Linux/Listener/ListenerMessages.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <type_traits>

namespace keysong::listener {

namespace {

constexpr std::uint8_t version = 1;
enum class Form : std::uint8_t { hello = 1, listen, change, state, event, lost, rival, answer };

/// Pointer motion has a number that fits no byte.
constexpr std::uint8_t motionByte = 0xFD;

Packet begun(Form form) noexcept {
    Packet packet;
    packet.append(version, 1);
    packet.append(static_cast<std::uint8_t>(form), 1);
    return packet;
}

void append(Packet& packet, const Process& process) {
    packet.append(process.user, 4);
    packet.append(process.id, 4);
    const std::string name = printableName(process.name);
    packet.append(name.size(), 1);
    for (const char each : name) {
        packet.append(static_cast<unsigned char>(each), 1);
    }
}

/// Reads values one after the other; what does not fit makes it fail for good.
class Reader {
  public:
    explicit Reader(std::span<const std::byte> bytes) : bytes_(bytes) {}

    std::uint64_t take(std::size_t count) noexcept {
        if (count > bytes_.size()) {
            failed_ = true;
            return 0;
        }
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < count; ++i) {
            value |= std::uint64_t(bytes_[i]) << (8 * i);
        }
        bytes_ = bytes_.subspan(count);
        return value;
    }
    bool begins(Form form) noexcept {
        return take(1) == version && take(1) == static_cast<std::uint8_t>(form);
    }
    bool flag() noexcept { return upTo(1) == 1; }
    std::uint64_t upTo(std::uint64_t most) noexcept {
        const std::uint64_t value = take(1);
        failed_ = failed_ || value > most;
        return value;
    }
    template <typename Enum>
    Enum word(Enum last) noexcept {
        return static_cast<Enum>(upTo(static_cast<std::uint64_t>(last)));
    }
    Process process() {
        Process result;
        result.user = static_cast<std::uint32_t>(take(4));
        result.id = static_cast<std::uint32_t>(take(4));
        const std::uint64_t length = upTo(Process::longestName);
        for (std::uint64_t i = 0; i < length && !failed_; ++i) {
            result.name += static_cast<char>(take(1));
        }
        failed_ = failed_ || result.name != printableName(result.name);
        return result;
    }
    void refuseUnless(bool holds) noexcept { failed_ = failed_ || !holds; }
    /// Whether all was there and nothing is left.
    [[nodiscard]] bool isWhole() const noexcept { return !failed_ && bytes_.empty(); }

  private:
    std::span<const std::byte> bytes_;
    bool failed_ = false;
};

enum class Shape : std::uint8_t { none, plain, key, media, scroll };

Shape shapeOf(RawEventType type) noexcept {
    switch (type) {
    case RawEventType::leftMouseDown:
    case RawEventType::leftMouseUp:
    case RawEventType::rightMouseDown:
    case RawEventType::rightMouseUp:
    case RawEventType::otherMouseDown:
    case RawEventType::otherMouseUp:
    case RawEventType::pointerMotion:
        return Shape::plain;
    case RawEventType::keyDown:
    case RawEventType::keyUp:
    case RawEventType::flagsChanged:
        return Shape::key;
    case RawEventType::systemDefined:
        return Shape::media;
    case RawEventType::scrollWheel:
        return Shape::scroll;
    case RawEventType::tapDisabledByTimeout:
    case RawEventType::tapDisabledByUserInput:
        break;
    }
    return Shape::none;
}

/// What an event is made of on its way, beside kind, source, flags and time.
struct Details {
    std::uint16_t code = 0;
    /// Autorepeat or continuous.
    bool mark = false;
    std::uint8_t phase = 0;
    std::int32_t amount = 0;
};

std::int32_t cut(std::int64_t value) noexcept {
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, Limits::min(), Limits::max()));
}

Details detailsOf(const RawEvent& event, Shape shape) noexcept {
    switch (shape) {
    case Shape::key:
        return {static_cast<std::uint16_t>(event.keycode), event.autorepeat != 0, 0, 0};
    case Shape::media:
        return {0, false, static_cast<std::uint8_t>(event.scrollPhaseOrSubtype), cut(event.data1)};
    case Shape::scroll:
        return {0, event.continuous != 0, static_cast<std::uint8_t>(event.scrollPhaseOrSubtype),
                cut(event.continuous != 0 ? event.pointDelta : event.lineDelta)};
    case Shape::plain:
    case Shape::none:
        break;
    }
    return {};
}

/// Nothing of a detail that the shape has no place for.
bool fits(const Details& details, Shape shape) noexcept {
    switch (shape) {
    case Shape::none:
        return false;
    case Shape::plain:
        return details.code == 0 && !details.mark && details.phase == 0 && details.amount == 0;
    case Shape::key:
        return details.phase == 0 && details.amount == 0;
    case Shape::media:
        return details.code == 0 && !details.mark;
    case Shape::scroll:
        return details.code == 0;
    }
    return false;
}

RawEvent madeOf(RawEventType type, Shape shape, const Details& details) noexcept {
    RawEvent event;
    event.type = type;
    event.keycode = details.code;
    event.scrollPhaseOrSubtype = details.phase;
    if (shape == Shape::key) {
        event.autorepeat = details.mark ? 1 : 0;
    } else if (shape == Shape::media) {
        event.data1 = details.amount;
    } else if (shape == Shape::scroll) {
        event.continuous = details.mark ? 1 : 0;
        (details.mark ? event.pointDelta : event.lineDelta) = details.amount;
    }
    return event;
}

RawEvent takeEvent(Reader& reader) noexcept {
    const auto number = static_cast<std::uint8_t>(reader.take(1));
    const auto type = number == motionByte ? RawEventType::pointerMotion : static_cast<RawEventType>(number);
    const Shape shape = shapeOf(type);
    const bool isHardware = reader.flag();
    Details details;
    details.mark = reader.flag();
    details.phase = static_cast<std::uint8_t>(reader.take(1));
    details.code = static_cast<std::uint16_t>(reader.take(2));
    details.amount = static_cast<std::int32_t>(reader.take(4));
    reader.refuseUnless(fits(details, shape));
    RawEvent event = madeOf(type, shape, details);
    event.sourceState = isHardware ? hardwareSourceState : softwareSourceState;
    event.flags = reader.take(4);
    const auto time = static_cast<std::int64_t>(reader.take(8));
    reader.refuseUnless(time >= 0);
    event.time = std::chrono::nanoseconds(time);
    return event;
}

struct Encoder {
    Packet operator()(const Hello&) const { return begun(Form::hello); }
    Packet operator()(const Listen&) const { return begun(Form::listen); }
    Packet operator()(const Change& change) const {
        Packet packet = begun(Form::change);
        packet.append(static_cast<std::uint8_t>(change.kind), 1);
        packet.append(change.user, 4);
        return packet;
    }
    Packet operator()(const State& state) const {
        Packet packet = begun(Form::state);
        packet.append(static_cast<std::uint8_t>(state.phase), 1);
        packet.append(state.isGranted ? 1 : 0, 1);
        packet.append(state.keyboards, 1);
        append(packet, state.holder);
        return packet;
    }
    Packet operator()(const RawEvent& event) const { return encodedEvent(event); }
    Packet operator()(const Lost& lost) const {
        Packet packet = begun(Form::lost);
        packet.append(lost.count, 4);
        return packet;
    }
    Packet operator()(const Rival& rival) const {
        Packet packet = begun(Form::rival);
        append(packet, rival.process);
        return packet;
    }
    Packet operator()(const Answer& answer) const {
        Packet packet = begun(Form::answer);
        packet.append(static_cast<std::uint8_t>(answer.outcome), 1);
        return packet;
    }
};

/// The message of the form, if the bytes are one.
template <typename Take>
auto decodedAs(std::span<const std::byte> bytes, Form form, const Take& take)
    -> std::optional<std::invoke_result_t<Take, Reader&>> {
    Reader reader(bytes);
    if (!reader.begins(form)) {
        return std::nullopt;
    }
    auto message = take(reader);
    return reader.isWhole() ? std::optional(std::move(message)) : std::nullopt;
}

} // namespace

Packet::~Packet() {
    explicit_bzero(bytes_.data(), bytes_.size());
}

void Packet::append(std::uint64_t value, std::size_t count) noexcept {
    for (std::size_t i = 0; i < count && size_ < bytes_.size(); ++i) {
        bytes_.at(size_++) = static_cast<std::byte>(value >> (8 * i));
    }
}

Packet encoded(const Request& request) {
    return std::visit(Encoder(), request);
}

Packet encoded(const Report& report) {
    return std::visit(Encoder(), report);
}

Packet encodedEvent(const RawEvent& event) noexcept {
    const Shape shape = shapeOf(event.type);
    if (shape == Shape::none) {
        return {};
    }
    const Details details = detailsOf(event, shape);
    Packet packet = begun(Form::event);
    packet.append(
        event.type == RawEventType::pointerMotion ? motionByte : static_cast<std::uint32_t>(event.type), 1);
    packet.append(event.sourceState == hardwareSourceState ? 1 : 0, 1);
    packet.append(details.mark ? 1 : 0, 1);
    packet.append(details.phase, 1);
    packet.append(details.code, 2);
    packet.append(static_cast<std::uint32_t>(details.amount), 4);
    packet.append(event.flags, 4);
    packet.append(static_cast<std::uint64_t>(std::max<std::int64_t>(event.time.count(), 0)), 8);
    return packet;
}

std::optional<Request> decodedRequest(std::span<const std::byte> bytes) {
    if (const auto hello = decodedAs(bytes, Form::hello, [](Reader&) { return Hello(); })) {
        return *hello;
    }
    if (const auto listen = decodedAs(bytes, Form::listen, [](Reader&) { return Listen(); })) {
        return *listen;
    }
    if (const auto change = decodedAs(bytes, Form::change, [](Reader& reader) {
            const auto kind = reader.word(Change::Kind::revoke);
            return Change{kind, static_cast<std::uint32_t>(reader.take(4))};
        })) {
        return *change;
    }
    return std::nullopt;
}

std::optional<Report> decodedReport(std::span<const std::byte> bytes) {
    // What comes most often first.
    if (auto event = decodedAs(bytes, Form::event, takeEvent)) {
        return *event;
    }
    if (auto state = decodedAs(bytes, Form::state, [](Reader& reader) {
            State result;
            result.phase = reader.word(State::Phase::failed);
            result.isGranted = reader.flag();
            result.keyboards = static_cast<std::uint8_t>(reader.take(1));
            result.holder = reader.process();
            return result;
        })) {
        return *state;
    }
    if (const auto lost = decodedAs(bytes, Form::lost, [](Reader& reader) {
            return Lost{static_cast<std::uint32_t>(reader.take(4))};
        })) {
        return *lost;
    }
    if (auto rival = decodedAs(bytes, Form::rival, [](Reader& reader) { return Rival{reader.process()}; })) {
        return *rival;
    }
    if (const auto answer = decodedAs(bytes, Form::answer, [](Reader& reader) {
            return Answer{reader.word(Answer::Outcome::failed)};
        })) {
        return *answer;
    }
    return std::nullopt;
}

bool isOfOtherVersion(std::span<const std::byte> bytes) noexcept {
    return !bytes.empty() && bytes.front() != std::byte(version);
}

std::string printableName(std::string_view name) {
    std::string result(name.substr(0, Process::longestName));
    std::ranges::replace_if(
        result, [](char each) { return each < ' ' || each > '~'; }, '?');
    return result;
}

} // namespace keysong::listener
