#pragma once

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>

#include <cstdint>
#include <functional>
#include <memory>

namespace tapwell {

/// Lets a thread that must not wait have work done by a queue: to ring is one write to an eventfd,
/// which neither blocks nor allocates nor takes a lock. Rings that come close together may share
/// one run of the work, and no ring goes without a run that begins after it. Made by
/// AsioSerialQueue.
class QueueDoorbell : public std::enable_shared_from_this<QueueDoorbell> {
public:
    /// `context` must outlive the doorbell's use. Throws std::system_error when the process has no
    /// descriptor left.
    QueueDoorbell(asio::io_context& context, std::function<void()> work);

    /// Begins to answer. Once.
    void open() { awaitRing(); }

    /// Any thread, real-time ones included, but not after `close` has been called.
    void ring();

    /// Any thread. A run that is under way is not waited for, and one more may follow.
    void close();

private:
    void awaitRing();

    asio::io_context& context_;
    asio::posix::stream_descriptor event_;
    std::uint64_t rings_ = 0;
    const std::function<void()> work_;
};

}  // namespace tapwell
