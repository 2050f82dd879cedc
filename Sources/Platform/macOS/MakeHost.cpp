#include "Platform/MakeHost.h"

#include "Platform/macOS/MacHost.h"

#include <sys/stat.h>

namespace tapwell {

std::unique_ptr<Host> makeHost() {
    // The system's asset writer makes its files itself; like all others, they are the owner's
    // alone.
    ::umask(077);
    return std::make_unique<MacHost>();
}

}  // namespace tapwell
