#pragma once

#include "Platform/SampleRateConverter.h"

#include <memory>

namespace tapwell::test {

/// The sample-rate conversion of the machine that the tests run on.
class HostConverters final : public SampleRateConverterFactory {
public:
    HostConverters();

    std::unique_ptr<SampleRateConverter> makeConverter(const AudioFormat& source,
                                                       const AudioFormat& target) override {
        return host_->makeConverter(source, target);
    }

private:
    std::unique_ptr<SampleRateConverterFactory> host_;
};

}  // namespace tapwell::test
