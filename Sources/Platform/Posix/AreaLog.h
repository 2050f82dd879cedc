#pragma once

#include "Platform/StandardStreams.h"

#include <functional>
#include <string>

namespace tapwell {

/// For what of a host has something to say: takes messages of one area and writes each to standard
/// error as "[Tapwell][<area>] <message>". Any thread; never blocks. `streams` must outlive it.
std::function<void(const std::string& message)> makeAreaLog(StandardStreams& streams,
                                                            const std::string& area);

}  // namespace tapwell
