#include "Platform/Linux/QueueDoorbell.h"

#include <asio/buffer.hpp>
#include <asio/post.hpp>
#include <sys/eventfd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace tapwell {
namespace {

int makeEvent() {
    const int descriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
    return descriptor;
}

}  // namespace

QueueDoorbell::QueueDoorbell(asio::io_context& context, std::function<void()> work)
    : context_(context), event_(context, makeEvent()), work_(std::move(work)) {}

void QueueDoorbell::ring() {
    // Fails only when the counter is full, and then the event is set anyway.
    ::eventfd_write(event_.native_handle(), 1);
}

void QueueDoorbell::close() {
    asio::post(context_, [self = shared_from_this()] {
        asio::error_code ignored;
        self->event_.close(ignored);
    });
}

/// The pending read keeps the doorbell alive until it is closed.
void QueueDoorbell::awaitRing() {
    event_.async_read_some(asio::buffer(&rings_, sizeof rings_),
                           [self = shared_from_this()](const asio::error_code& error, std::size_t) {
                               if (error) return;
                               self->work_();
                               self->awaitRing();
                           });
}

}  // namespace tapwell
