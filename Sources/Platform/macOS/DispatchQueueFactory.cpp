#include "Platform/macOS/DispatchQueueFactory.h"

#include "Platform/macOS/DispatchSemaphore.h"
#include "Platform/macOS/DispatchSerialQueue.h"

namespace tapwell {

std::shared_ptr<SerialQueue> DispatchQueueFactory::makeSerialQueue(
    const std::string& label, QualityOfService qualityOfService) {
    return std::make_shared<DispatchSerialQueue>(label, qualityOfService);
}

std::shared_ptr<Semaphore> DispatchQueueFactory::makeSemaphore() {
    return std::make_shared<DispatchSemaphore>();
}

}  // namespace tapwell
