#include "Platform/MakeHost.h"

#include "Platform/Linux/LinuxHost.h"
#include "Platform/Linux/StartupPages.h"

namespace tapwell {

std::unique_ptr<Host> makeHost() {
    releaseStartupPages();
    return std::make_unique<LinuxHost>();
}

}  // namespace tapwell
