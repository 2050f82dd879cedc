#pragma once

#include "Platform/SerialQueue.h"

#include <dispatch/dispatch.h>

namespace tapwell {

/// The libdispatch queue below a queue that this host's QueueFactory made. For C++ files: in
/// Objective-C the type is another one.
dispatch_queue_t nativeQueue(const SerialQueue& queue);

}  // namespace tapwell
