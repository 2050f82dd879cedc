#pragma once

#include "Platform/Linux/SpeechSession.h"

#include <memory>
#include <mutex>
#include <vector>

namespace tapwell {

/// The sessions that the engines have handed out, so that none calls back when the engines are
/// gone. Any thread.
class SpeechSessions {
public:
    std::shared_ptr<SpeechSession> make() {
        auto session = std::make_shared<SpeechSession>();
        const std::lock_guard hold(lock_);
        std::erase_if(sessions_, [](const auto& weak) { return weak.expired(); });
        sessions_.push_back(session);
        return session;
    }

    /// From the end of the call on no session calls back.
    void cancelAll() {
        std::vector<std::weak_ptr<SpeechSession>> sessions;
        {
            const std::lock_guard hold(lock_);
            sessions = sessions_;
        }
        for (const auto& weak : sessions)
            if (const auto session = weak.lock()) session->cancel();
    }

private:
    std::mutex lock_;
    std::vector<std::weak_ptr<SpeechSession>> sessions_;  ///< guarded by lock_
};

}  // namespace tapwell
