#pragma once

#include "Platform/Clock.h"
#include "Platform/QueueFactory.h"
#include "Platform/SampleRateConverter.h"
#include "Platform/SpeechEngines.h"
#include "Platform/StandardStreams.h"
#include "Platform/UserDefaults.h"

namespace tapwell {

/// What speech providers are built on. The services outlive the providers.
struct SpeechProviderServices {
    SpeechEngines& engines;
    SampleRateConverterFactory& converters;
    QueueFactory& queues;
    Clock& clock;
    UserDefaults& defaults;
    StandardStreams& streams;
};

}  // namespace tapwell
