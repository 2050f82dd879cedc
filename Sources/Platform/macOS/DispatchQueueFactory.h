#pragma once

#include "Platform/QueueFactory.h"

namespace tapwell {

/// Queues and semaphores of libdispatch.
class DispatchQueueFactory final : public QueueFactory {
public:
    std::shared_ptr<SerialQueue> makeSerialQueue(
        const std::string& label,
        QualityOfService qualityOfService = QualityOfService::standard) override;
    std::shared_ptr<Semaphore> makeSemaphore() override;
};

}  // namespace tapwell
