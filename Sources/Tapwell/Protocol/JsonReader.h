#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tapwell {

/// Reads one JSON text (RFC 8259) that is an object, from front to back and without a tree, so that
/// a hostile text costs no more memory than its longest string. As strict as the RFC: well-formed
/// UTF-8, escapes of whole characters, nothing behind the value; a byte order mark in front is
/// overlooked, as the RFC permits. Values may nest 512 deep.
class JsonReader {
public:
    /// A member of the outermost object; `text` is absent when the value is no string.
    using Member = std::function<void(std::string name, std::optional<std::string> text)>;

    /// `text` must outlive the reader.
    explicit JsonReader(std::string_view text) : rest_(text) {}

    /// Gives every member to `member`, in order. False when the text is not one JSON object;
    /// members that were read until then have been given. Once.
    bool readObject(const Member& member);

private:
    bool object(const Member* member);
    bool array();
    bool memberOf(const Member* member);
    bool value();
    bool number();
    bool digits();
    bool string(std::string* text);
    bool character(std::string* text);
    bool escape(std::string* text);
    bool escapedCodePoint(std::string* text);
    std::optional<std::uint32_t> fourHexDigits();
    bool enter();
    bool leave();
    void skipSpace();
    bool take(std::string_view expected);
    std::string_view takeBytes(std::size_t count);

    std::string_view rest_;
    int depth_ = 0;
};

}  // namespace tapwell
