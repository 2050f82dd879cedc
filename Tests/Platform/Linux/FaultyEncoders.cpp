#include "FaultyEncoders.h"

#include <dlfcn.h>

#include <atomic>
#include <limits>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace tapwell::test {

namespace {

constexpr int kNoFault = std::numeric_limits<int>::max();
std::atomic<int> opensLeft{kNoFault};

bool failsNow() {
    return opensLeft != kNoFault && opensLeft.fetch_sub(1) <= 0;
}

}  // namespace

FaultyEncoders::FaultyEncoders(int opensBefore) {
    opensLeft = opensBefore;
}

FaultyEncoders::~FaultyEncoders() {
    opensLeft = kNoFault;
}

}  // namespace tapwell::test

/// Takes libavcodec's place in this program.
extern "C" int avcodec_open2(AVCodecContext* context, const AVCodec* codec,
                             AVDictionary** options) {
    using Open = int (*)(AVCodecContext*, const AVCodec*, AVDictionary**);
    static const auto open = reinterpret_cast<Open>(::dlsym(RTLD_NEXT, "avcodec_open2"));
    const bool isEncoder = codec != nullptr && av_codec_is_encoder(codec) != 0;
    if (isEncoder && tapwell::test::failsNow()) return AVERROR(ENOMEM);
    return open(context, codec, options);
}
