#include "Platform/Linux/LinuxQueueFactory.h"

#include "Platform/Linux/AsioSerialQueue.h"
#include "Platform/Linux/LinuxSemaphore.h"

namespace tapwell {

std::shared_ptr<SerialQueue> LinuxQueueFactory::makeSerialQueue(const std::string& label,
                                                                QualityOfService qualityOfService) {
    return std::make_shared<AsioSerialQueue>(label, qualityOfService);
}

std::shared_ptr<Semaphore> LinuxQueueFactory::makeSemaphore() {
    return std::make_shared<LinuxSemaphore>();
}

}  // namespace tapwell
