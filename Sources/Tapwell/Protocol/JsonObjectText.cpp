#include "Tapwell/Protocol/JsonObjectText.h"

#include "Tapwell/Protocol/Utf8.h"

namespace tapwell {
namespace {

/// An ASCII character as it stands in a JSON string.
void appendEscaped(std::string& text, char c) {
    constexpr std::string_view kEscaped = "\"\\/\b\f\n\r\t";
    constexpr std::string_view kNames = "\"\\/bfnrt";
    constexpr std::string_view kDigits = "0123456789abcdef";
    if (const std::size_t which = kEscaped.find(c); which != kEscaped.npos) {
        text += '\\';
        text += kNames[which];
    } else if (const auto code = static_cast<unsigned char>(c); code < 0x20) {
        text += "\\u00";
        text += kDigits[code >> 4];
        text += kDigits[code & 0xF];
    } else {
        text += c;
    }
}

}  // namespace

JsonObjectText& JsonObjectText::add(std::string_view name, std::string_view text) {
    appendName(name);
    appendString(text);
    return *this;
}

JsonObjectText& JsonObjectText::add(std::string_view name, std::int64_t number) {
    return addRaw(name, std::to_string(number));
}

std::optional<std::string> JsonObjectText::text() const {
    if (!isWellFormed_) return std::nullopt;
    return '{' + members_ + '}';
}

JsonObjectText& JsonObjectText::addRaw(std::string_view name, std::string_view value) {
    appendName(name);
    members_ += value;
    return *this;
}

void JsonObjectText::appendName(std::string_view name) {
    if (!members_.empty()) members_ += ',';
    appendString(name);
    members_ += ':';
}

void JsonObjectText::appendString(std::string_view text) {
    members_ += '"';
    while (!text.empty() && isWellFormed_) {
        const std::size_t size = utf8CharacterSize(text);
        isWellFormed_ = size > 0;
        if (size == 1)
            appendEscaped(members_, text.front());
        else
            members_ += text.substr(0, size);
        text.remove_prefix(size);
    }
    members_ += '"';
}

}  // namespace tapwell
