#include "Tapwell/Protocol/JsonReader.h"

#include "Tapwell/Protocol/Utf8.h"

#include <charconv>
#include <utility>

namespace tapwell {
namespace {

constexpr int kMaxDepth = 512;

constexpr bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// A character by its number; not a surrogate.
void appendUtf8(std::string& text, std::uint32_t code) {
    const auto byte = [&](std::uint32_t bits) { text += static_cast<char>(bits); };
    if (code < 0x80) {
        byte(code);
    } else if (code < 0x800) {
        byte(0xC0 | code >> 6);
        byte(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        byte(0xE0 | code >> 12);
        byte(0x80 | (code >> 6 & 0x3F));
        byte(0x80 | (code & 0x3F));
    } else {
        byte(0xF0 | code >> 18);
        byte(0x80 | (code >> 12 & 0x3F));
        byte(0x80 | (code >> 6 & 0x3F));
        byte(0x80 | (code & 0x3F));
    }
}

}  // namespace

bool JsonReader::readObject(const Member& member) {
    take("\xEF\xBB\xBF");
    skipSpace();
    if (!object(&member)) return false;
    skipSpace();
    return rest_.empty();
}

bool JsonReader::object(const Member* member) {
    if (!take("{") || !enter()) return false;
    skipSpace();
    if (take("}")) return leave();
    do {
        skipSpace();
        if (!memberOf(member)) return false;
        skipSpace();
    } while (take(","));
    return take("}") && leave();
}

bool JsonReader::memberOf(const Member* member) {
    std::string name;
    if (!string(member == nullptr ? nullptr : &name)) return false;
    skipSpace();
    if (!take(":")) return false;
    skipSpace();
    if (member == nullptr) return value();
    std::optional<std::string> text;
    const bool isString = rest_.starts_with('"');
    if (!(isString ? string(&text.emplace()) : value())) return false;
    (*member)(std::move(name), std::move(text));
    return true;
}

bool JsonReader::array() {
    if (!take("[") || !enter()) return false;
    skipSpace();
    if (take("]")) return leave();
    do {
        skipSpace();
        if (!value()) return false;
        skipSpace();
    } while (take(","));
    return take("]") && leave();
}

bool JsonReader::value() {
    if (rest_.starts_with('{')) return object(nullptr);
    if (rest_.starts_with('[')) return array();
    if (rest_.starts_with('"')) return string(nullptr);
    return take("true") || take("false") || take("null") || number();
}

bool JsonReader::number() {
    take("-");
    if (!take("0") && !digits()) return false;
    if (take(".") && !digits()) return false;
    if (!take("e") && !take("E")) return true;
    if (!take("+")) take("-");
    return digits();
}

bool JsonReader::digits() {
    std::size_t count = 0;
    while (count < rest_.size() && isDigit(rest_[count]))
        ++count;
    return !takeBytes(count).empty();
}

/// Appends what it reads to `text`, where there is one.
bool JsonReader::string(std::string* text) {
    if (!take("\"")) return false;
    while (!take("\""))
        if (!(take("\\") ? escape(text) : character(text))) return false;
    return true;
}

bool JsonReader::character(std::string* text) {
    const std::size_t size = utf8CharacterSize(rest_);
    if (size == 0 || static_cast<unsigned char>(rest_.front()) < 0x20) return false;
    const std::string_view bytes = takeBytes(size);
    if (text != nullptr) text->append(bytes);
    return true;
}

bool JsonReader::escape(std::string* text) {
    if (take("u")) return escapedCodePoint(text);
    constexpr std::string_view kNames = "\"\\/bfnrt";
    constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
    const std::size_t which = rest_.empty() ? kNames.npos : kNames.find(rest_.front());
    if (which == kNames.npos) return false;
    takeBytes(1);
    if (text != nullptr) *text += kMeanings[which];
    return true;
}

/// Behind "\u". A character beyond 16 bits is two escapes, a high and a low surrogate.
bool JsonReader::escapedCodePoint(std::string* text) {
    const auto first = fourHexDigits();
    if (!first) return false;
    std::uint32_t code = *first;
    if (code >= 0xD800 && code <= 0xDFFF) {
        if (code >= 0xDC00 || !take("\\u")) return false;
        const auto second = fourHexDigits();
        if (!second || *second < 0xDC00 || *second > 0xDFFF) return false;
        code = 0x10000 + ((code - 0xD800) << 10) + (*second - 0xDC00);
    }
    if (text != nullptr) appendUtf8(*text, code);
    return true;
}

std::optional<std::uint32_t> JsonReader::fourHexDigits() {
    if (rest_.size() < 4) return std::nullopt;
    const std::string_view digits = takeBytes(4);
    std::uint32_t value = 0;
    const char* const end = digits.data() + digits.size();
    if (std::from_chars(digits.data(), end, value, 16).ptr != end) return std::nullopt;
    return value;
}

bool JsonReader::enter() {
    return ++depth_ <= kMaxDepth;
}

bool JsonReader::leave() {
    --depth_;
    return true;
}

void JsonReader::skipSpace() {
    const std::size_t end = rest_.find_first_not_of(" \t\n\r");
    takeBytes(end == rest_.npos ? rest_.size() : end);
}

bool JsonReader::take(std::string_view expected) {
    if (!rest_.starts_with(expected)) return false;
    rest_.remove_prefix(expected.size());
    return true;
}

std::string_view JsonReader::takeBytes(std::size_t count) {
    const std::string_view bytes = rest_.substr(0, count);
    rest_.remove_prefix(count);
    return bytes;
}

}  // namespace tapwell
