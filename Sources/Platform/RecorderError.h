#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace tapwell {

/// The error object of the system: a domain ("Tapwell" for our own failures, the library's name
/// for the platform's), a numeric code within it, and a description fit to be shown to a user.
class RecorderError : public std::runtime_error {
public:
    RecorderError(std::string domain, int code, const std::string& description)
        : std::runtime_error(description), domain_(std::move(domain)), code_(code) {}

    /// An error of the domain "Tapwell".
    RecorderError(int code, const std::string& description)
        : RecorderError("Tapwell", code, description) {}

    const std::string& domain() const { return domain_; }
    int code() const { return code_; }
    std::string description() const { return what(); }

private:
    std::string domain_;
    int code_;
};

}  // namespace tapwell
