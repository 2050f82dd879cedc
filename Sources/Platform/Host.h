#pragma once

#include "Platform/AssetWriter.h"
#include "Platform/AudioHardware.h"
#include "Platform/Authorization.h"
#include "Platform/Clock.h"
#include "Platform/Environment.h"
#include "Platform/PrivateFile.h"
#include "Platform/QueueFactory.h"
#include "Platform/SampleRateConverter.h"
#include "Platform/StandardStreams.h"

namespace tapwell {

/// The services of the machine that the program runs on. Only the program's entry and tests know a
/// whole host; everything else takes the services that it uses. The services live as long as the
/// host.
class Host {
public:
    virtual ~Host() = default;

    virtual AudioHardware& audioHardware() = 0;
    virtual SampleRateConverterFactory& converters() = 0;
    virtual AssetWriterFactory& assetWriters() = 0;
    virtual PrivateFileFactory& files() = 0;
    virtual QueueFactory& queues() = 0;
    virtual Clock& clock() = 0;
    virtual Authorization& authorization() = 0;
    virtual Environment& environment() = 0;
    virtual StandardStreams& streams() = 0;
};

}  // namespace tapwell
