#include "Support/HostConverters.h"

#include "Platform/macOS/ConverterFactory.h"

namespace tapwell::test {

HostConverters::HostConverters() : host_(std::make_unique<ConverterFactory>()) {}

}  // namespace tapwell::test
