#pragma once

#include "Platform/QueueFactory.h"

#include <string>

namespace tapwell {

/// The part of a queue's label that serves as its thread's name: its last 15 bytes, which is all
/// the kernel keeps, begun at a word of the label where there is one. "Tapwell.MixedPCMFeedRouter.
/// Mix" gives "FeedRouter.Mix".
std::string threadNameForLabel(const std::string& label);

/// Names the calling thread after a queue's label.
void nameCurrentThread(const std::string& label);

/// Raises or lowers the calling thread's priority as the work asks for, where the user may do so;
/// does nothing otherwise.
void setCurrentThreadPriority(QualityOfService qualityOfService);

/// Lowers the calling thread's priority to that niceness, if it is higher.
void lowerCurrentThread(int niceness);

}  // namespace tapwell
