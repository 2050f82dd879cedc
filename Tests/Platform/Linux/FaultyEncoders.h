#pragma once

namespace tapwell::test {

/// While it lives, opening an encoder fails for want of memory, after the first `opensBefore`.
class FaultyEncoders {
public:
    explicit FaultyEncoders(int opensBefore);
    ~FaultyEncoders();
    FaultyEncoders(const FaultyEncoders&) = delete;
    FaultyEncoders& operator=(const FaultyEncoders&) = delete;
};

}  // namespace tapwell::test
