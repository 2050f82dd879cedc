#include "Platform/MakeHost.h"

#include "Platform/Linux/LinuxHost.h"

namespace tapwell {

std::unique_ptr<Host> makeHost() { return std::make_unique<LinuxHost>(); }

}  // namespace tapwell
