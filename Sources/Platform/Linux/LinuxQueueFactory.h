#pragma once

#include "Platform/QueueFactory.h"

namespace tapwell {

/// Queues that each have a thread, and semaphores that block the calling thread.
class LinuxQueueFactory final : public QueueFactory {
public:
    std::shared_ptr<SerialQueue> makeSerialQueue(
        const std::string& label,
        QualityOfService qualityOfService = QualityOfService::standard) override;
    std::shared_ptr<Semaphore> makeSemaphore() override;
};

}  // namespace tapwell
