#include "Support/HostConverters.h"

#include "Platform/Linux/SoxrSampleRateConverterFactory.h"

namespace tapwell::test {

HostConverters::HostConverters() : host_(std::make_unique<SoxrSampleRateConverterFactory>()) {}

}  // namespace tapwell::test
