#pragma once

#include "Platform/Host.h"

#include <memory>

namespace tapwell {

/// The host of the machine that this program was built for. Each host's library defines it.
std::unique_ptr<Host> makeHost();

}  // namespace tapwell
