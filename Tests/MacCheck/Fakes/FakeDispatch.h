#pragma once

#include <dispatch/dispatch.h>

namespace maccheck {

void retain(dispatch_queue_t queue);

}  // namespace maccheck
