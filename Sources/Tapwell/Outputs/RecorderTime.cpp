#include "Tapwell/Outputs/RecorderTime.h"

namespace tapwell {

MediaTime RecorderTime::cm(const AudioTime& from, std::int32_t preferredTimescale,
                           const Clock& clock) {
    if (from.isHostTimeValid)
        return MediaTime::fromSeconds(clock.hostSeconds(from.hostTime), preferredTimescale);
    if (from.isSampleTimeValid) {
        const double rate = from.sampleRate > 1.0 ? from.sampleRate : 1.0;
        return MediaTime::fromSeconds(from.sampleTime / rate, preferredTimescale);
    }
    return MediaTime::invalid();
}

}  // namespace tapwell
