#pragma once

#include "Platform/QueueFactory.h"
#include "Platform/Simulated/SimulatedSemaphore.h"
#include "Platform/Simulated/SimulatedSerialQueue.h"

#include <map>
#include <memory>
#include <string>

namespace tapwell {

/// Makes queues in virtual time and lets a test find them by label.
class SimulatedQueueFactory final : public QueueFactory {
public:
    explicit SimulatedQueueFactory(VirtualTime& time) : time_(time) {}

    std::shared_ptr<SerialQueue> makeSerialQueue(const std::string& label,
                                                 QualityOfService) override {
        auto queue = std::make_shared<SimulatedSerialQueue>(time_, label);
        latest_[label] = queue;
        return queue;
    }
    std::shared_ptr<Semaphore> makeSemaphore() override {
        return std::make_shared<SimulatedSemaphore>(time_);
    }

    /// The queue made last with that label; null when it is gone or never was.
    std::shared_ptr<SimulatedSerialQueue> find(const std::string& label) const {
        const auto found = latest_.find(label);
        return found == latest_.end() ? nullptr : found->second.lock();
    }

private:
    VirtualTime& time_;
    std::map<std::string, std::weak_ptr<SimulatedSerialQueue>> latest_;
};

}  // namespace tapwell
