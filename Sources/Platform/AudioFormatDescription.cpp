#include "Platform/AudioFormatDescription.h"

#include <cmath>

namespace tapwell {

OSStatus AudioFormatDescription::create(const AudioStreamBasicDescription& stream,
                                        std::shared_ptr<const AudioFormatDescription>& out) {
    if (!std::isfinite(stream.sampleRate) || stream.sampleRate <= 0 || stream.channelsPerFrame == 0)
        return kFormatDescriptionErrorInvalidParameter;
    out.reset(new AudioFormatDescription(stream));
    return noErr;
}

std::shared_ptr<const AudioFormatDescription> AudioFormatDescription::withoutStreamDescription() {
    return std::shared_ptr<const AudioFormatDescription>(new AudioFormatDescription(std::nullopt));
}

}  // namespace tapwell
