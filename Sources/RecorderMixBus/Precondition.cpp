#include "RecorderMixBus/Precondition.h"

#include <cstdio>
#include <cstdlib>

namespace tapwell {

void preconditionFailure(const char* message) {
    std::fprintf(stderr, "[Tapwell][fatal] %s\n", message);
    std::abort();
}

}  // namespace tapwell
