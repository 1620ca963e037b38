// The bounded byte pipe between a download and the reader that parses it.
#include "byte_pipe.h"

#include <algorithm>

namespace anadata::detail {

namespace {
// Small writes are gathered into chunks of about this size, so that the reader does not switch
// buffers for every few bytes an inflater hands out; small enough to come from the heap, not
// from a mapping of its own for each (see the inflater's output).
constexpr std::size_t chunkSize = 64u << 10;
}  // namespace

BytePipe::BytePipe(std::size_t capacity) : capacity_(std::max(capacity, chunkSize)) {}

bool BytePipe::write(const char* data, std::size_t size) {
    std::unique_lock<std::mutex> lock(mutex_);
    while (size > 0) {
        changed_.wait(lock, [this] { return abandoned_ || queued_ < capacity_; });
        if (abandoned_) return false;
        if (chunks_.empty() || chunks_.back().size() >= chunkSize) {
            if (spare_.empty()) {
                chunks_.emplace_back();
                chunks_.back().reserve(chunkSize);
            } else {
                chunks_.push_back(std::move(spare_.back()));
                spare_.pop_back();
            }
        }
        std::vector<char>& chunk = chunks_.back();
        const std::size_t take = std::min(size, chunkSize - chunk.size());
        chunk.insert(chunk.end(), data, data + take);
        queued_ += take;
        data += take;
        size -= take;
        changed_.notify_all();
    }
    return !abandoned_;
}

void BytePipe::close() {
    std::lock_guard<std::mutex> lock(mutex_);
    closed_ = true;
    changed_.notify_all();
}

void BytePipe::abandon() {
    std::lock_guard<std::mutex> lock(mutex_);
    abandoned_ = true;
    chunks_.clear();
    queued_ = 0;
    changed_.notify_all();
}

BytePipe::int_type BytePipe::underflow() {
    std::unique_lock<std::mutex> lock(mutex_);
    // A chunk still being filled is taken as it is: the reader should not wait for more when
    // the producer has nothing more for a while.
    changed_.wait(lock, [this] { return closed_ || abandoned_ || !chunks_.empty(); });
    if (chunks_.empty()) return traits_type::eof();
    // The pipe holds at most capacity_ bytes, so no more chunks than that are ever wanted.
    if (current_.capacity() >= chunkSize && spare_.size() < capacity_ / chunkSize + 1) {
        current_.clear();
        spare_.push_back(std::move(current_));
    }
    current_ = std::move(chunks_.front());
    chunks_.pop_front();
    queued_ -= current_.size();
    changed_.notify_all();
    setg(current_.data(), current_.data(), current_.data() + current_.size());
    return traits_type::to_int_type(current_.front());
}

}  // namespace anadata::detail
