#include "Linux/Files/IcuTextForms.h"

#include <unicode/normalizer2.h>
#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <climits>
#include <memory>
#include <optional>

namespace keysong {

namespace {

constexpr std::string_view utf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view smallEndianMark = "\xFF\xFE";
constexpr std::string_view bigEndianMark = "\xFE\xFF";

struct ConverterCloser {
    void operator()(UConverter* converter) const noexcept { ucnv_close(converter); }
};

/// The text in an encoding; none where the bytes mean nothing in it.
std::optional<std::string> decoded(std::string_view bytes, const char* encoding) {
    UErrorCode error = U_ZERO_ERROR;
    const std::unique_ptr<UConverter, ConverterCloser> converter(ucnv_open(encoding, &error));
    if (U_FAILURE(error) != 0 || bytes.size() > INT_MAX / 4) {
        return std::nullopt;
    }
    ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);
    std::string result;
    icu::UnicodeString(bytes.data(), static_cast<int32_t>(bytes.size()), converter.get(), error)
        .toUTF8String(result);
    return U_FAILURE(error) != 0 ? std::nullopt : std::optional(result);
}

bool isForeign(char character) {
    return static_cast<unsigned char>(character) >= 0x80;
}

/// Encodings with two bytes a character leave runs of even length; letters with accents among others do not.
bool hasOnlyEvenRuns(std::string_view bytes) {
    std::size_t run = 0;
    for (const char character : bytes) {
        if (isForeign(character)) {
            ++run;
        } else if (run % 2 != 0) {
            return false;
        } else {
            run = 0;
        }
    }
    return run % 2 == 0;
}

const char* utf16Of(std::string_view bytes) {
    if (bytes.starts_with(smallEndianMark) || (bytes.size() > 1 && bytes[0] != 0 && bytes[1] == 0)) {
        return "UTF-16LE";
    }
    if (bytes.starts_with(bigEndianMark) || (bytes.size() > 1 && bytes[0] == 0 && bytes[1] != 0)) {
        return "UTF-16BE";
    }
    return nullptr;
}

/// Characters that are there in every case: each byte is the one of that number.
std::string latin1(std::string_view bytes) {
    return decoded(bytes, "ISO-8859-1").value_or(std::string());
}

} // namespace

std::string IcuTextForms::utf8(std::string_view bytes) const {
    if (bytes.starts_with(utf8Mark)) {
        bytes.remove_prefix(utf8Mark.size());
    }
    if (const char* const encoding = utf16Of(bytes)) {
        const bool hasMark = bytes.starts_with(smallEndianMark) || bytes.starts_with(bigEndianMark);
        if (auto text = decoded(bytes.substr(hasMark ? 2 : 0), encoding)) {
            return *text;
        }
    }
    if (std::none_of(bytes.begin(), bytes.end(), isForeign)) {
        return std::string(bytes);
    }
    if (auto text = decoded(bytes, "UTF-8")) {
        return *text;
    }
    if (hasOnlyEvenRuns(bytes)) {
        if (auto text = decoded(bytes, "gb18030")) {
            return *text;
        }
    }
    if (auto text = decoded(bytes, "windows-1252")) {
        return *text;
    }
    return latin1(bytes);
}

std::vector<std::string> IcuTextForms::readings(std::string_view name) const {
    std::vector<std::string> result{utf8(name)};
    if (result.front() == name) {
        return result;
    }
    for (const char* const encoding : {"gb18030", "Shift_JIS", "Big5", "EUC-KR", "windows-1252",
                                       "windows-1251", "ibm-437", "ibm-850", "ibm-866"}) {
        if (auto text = decoded(name, encoding)) {
            result.push_back(std::move(*text));
        }
    }
    return result;
}

std::string IcuTextForms::folded(std::string_view name) const {
    UErrorCode error = U_ZERO_ERROR;
    const icu::Normalizer2* const normalizer = icu::Normalizer2::getNFKCCasefoldInstance(error);
    if (U_FAILURE(error) != 0 || name.size() > INT_MAX / 4) {
        return std::string(name);
    }
    const auto text = icu::UnicodeString::fromUTF8({name.data(), static_cast<int32_t>(name.size())});
    const icu::UnicodeString folded = normalizer->normalize(text, error);
    std::string result;
    folded.toUTF8String(result);
    return U_FAILURE(error) != 0 ? std::string(name) : result;
}

} // namespace keysong
