#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tapwell {

/// Writes one JSON object (RFC 8259) on one line, members in the order of their coming: no spaces,
/// slashes and control characters escaped, other characters beyond ASCII as UTF-8.
class JsonObjectText {
public:
    /// `name` and `text` are UTF-8; text that is not well-formed spoils the object.
    JsonObjectText& add(std::string_view name, std::string_view text);
    JsonObjectText& add(std::string_view name, std::int64_t number);
    /// For bool alone: a pointer would become one.
    JsonObjectText& add(std::string_view name, std::same_as<bool> auto value) {
        return addRaw(name, value ? "true" : "false");
    }

    /// The object, without a line's end; absent when a text was not UTF-8.
    std::optional<std::string> text() const;

private:
    JsonObjectText& addRaw(std::string_view name, std::string_view value);
    void appendName(std::string_view name);
    void appendString(std::string_view text);

    std::string members_;
    bool isWellFormed_ = true;
};

}  // namespace tapwell
