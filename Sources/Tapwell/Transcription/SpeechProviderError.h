#pragma once

#include <stdexcept>

namespace tapwell {

/// Why a speech provider cannot work.
class SpeechProviderError : public std::runtime_error {
public:
    enum class Case { localeNotSupported, modelNotAvailable };

    explicit SpeechProviderError(Case which)
        : std::runtime_error(which == Case::localeNotSupported ? "localeNotSupported"
                                                               : "modelNotAvailable"),
          case_(which) {}

    Case which() const { return case_; }

private:
    Case case_;
};

}  // namespace tapwell
