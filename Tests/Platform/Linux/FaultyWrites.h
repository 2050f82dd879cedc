#pragma once

#include <cstddef>
#include <limits>
#include <vector>

namespace tapwell::test {

/// While it lives, the program's calls of pwrite fail or fall short as planned, call by call; calls
/// after the plan's end are real ones.
class FaultyWrites {
public:
    struct Call {
        std::size_t bytes = std::numeric_limits<std::size_t>::max();  ///< written at most
        int errorNumber = 0;                                          ///< fails with it, if not 0
        bool isKill = false;  ///< SIGKILL ends the process right after
    };
    enum class Threads { thisOne, all };

    explicit FaultyWrites(const std::vector<Call>& plan, Threads threads = Threads::thisOne);
    ~FaultyWrites();
    FaultyWrites(const FaultyWrites&) = delete;
    FaultyWrites& operator=(const FaultyWrites&) = delete;
};

}  // namespace tapwell::test
