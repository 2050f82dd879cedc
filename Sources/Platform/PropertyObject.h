#pragma once

#include <memory>
#include <optional>
#include <string>

namespace tapwell {

/// A property value that is an object and not plain bytes (text, in practice). `getPropertyData`
/// writes a `PropertyObject*` into a slot of sizeof(PropertyObject*) and gives it to the caller,
/// who owns it from then on.
class PropertyObject {
public:
    virtual ~PropertyObject() = default;

    /// The text, or absent when the object is no string.
    virtual std::optional<std::string> string() const = 0;
    /// For messages about an object that is not what was expected.
    virtual std::string description() const = 0;
};

/// A PropertyObject that is a string.
class PropertyString final : public PropertyObject {
public:
    explicit PropertyString(std::string text) : text_(std::move(text)) {}

    std::optional<std::string> string() const override { return text_; }
    std::string description() const override { return text_; }

private:
    std::string text_;
};

}  // namespace tapwell
