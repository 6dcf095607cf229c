// One request to libuv at a time: it holds its bytes where they are until they are sent,
// so what is added meanwhile gathers beside them.

#include "output_queue.h"

#include <algorithm>

namespace varno {

int OutputQueue::add(const char *bytes, size_t count)
{
    if (is_empty()) {
        const uv_buf_t all = uv_buf_init(const_cast<char *>(bytes), static_cast<unsigned>(count));
        const int sent = uv_try_write(stream_, &all, 1);
        if (sent < 0 && sent != UV_EAGAIN)
            return sent;
        bytes += std::max(sent, 0);
        count -= static_cast<size_t>(std::max(sent, 0));
    }
    waiting_.append(bytes, count);
    return is_empty() ? send_waiting() : 0;
}

int OutputQueue::send_waiting()
{
    std::string().swap(sending_);
    sending_.swap(waiting_);
    unsent_seen_ = sending_.size();
    advanced_at_ = uv_now(stream_->loop);
    if (sending_.empty())
        return 0;
    const uv_buf_t all = uv_buf_init(sending_.data(), static_cast<unsigned>(sending_.size()));
    request_.data = this;
    return uv_write(&request_, stream_, &all, 1, [](uv_write_t *request, int status) {
        static_cast<OutputQueue *>(request->data)->finish(status);
    });
}

void OutputQueue::finish(int status)
{
    sent_(status == 0 ? send_waiting() : status);
}

bool OutputQueue::has_advanced()
{
    const size_t unsent = uv_stream_get_write_queue_size(stream_);
    const bool has_shrunk = unsent != unsent_seen_;
    unsent_seen_ = unsent;
    advanced_at_ = uv_now(stream_->loop);
    return has_shrunk;
}

} // namespace varno
