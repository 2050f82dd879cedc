#pragma once

#include "Platform/Semaphore.h"
#include "Platform/SerialQueue.h"

#include <memory>
#include <string>

namespace tapwell {

/// How urgent the work of a queue is. A hint.
enum class QualityOfService { userInteractive, userInitiated, standard, utility };

/// Makes the queues and semaphores of one host. Any thread.
class QueueFactory {
public:
    virtual ~QueueFactory() = default;

    virtual std::shared_ptr<SerialQueue> makeSerialQueue(
        const std::string& label,
        QualityOfService qualityOfService = QualityOfService::standard) = 0;
    virtual std::shared_ptr<Semaphore> makeSemaphore() = 0;
};

}  // namespace tapwell
