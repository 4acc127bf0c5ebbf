#include "hsms/log/log_file.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "hsms/log/rotating_file.h"
#include "hsms/log/time_text.h"

namespace hsms {
namespace {

// The writer is woken when a batch is this large, and this long after the first entry of a batch at the
// latest.
constexpr std::size_t batch_bytes = std::size_t{256} << 10U;
constexpr std::chrono::milliseconds batch_time{50};
// A batch is handed to the file in blocks of about this size, cut between entries, so that rotation can
// happen between them.
constexpr std::size_t block_bytes = std::size_t{64} << 10U;

struct Batch {
    std::string text;
    std::vector<std::size_t> ends;  // of the entries
    bool timed = false;             // the last entry had a time line

    void begin(bool with_time) {
        timed = with_time;
        if (!with_time) return;
        append_time(text);
        text.push_back('\n');
    }
    void end() {
        text.push_back('\n');
        ends.push_back(text.size());
    }
    /// A batch that one large entry has blown up gives its memory back.
    void clear() {
        constexpr std::size_t usual = 4 * batch_bytes;
        if (text.capacity() > usual) std::string().swap(text);
        text.clear();
        ends.clear();
    }
};

}  // namespace

class LogFile::Impl {
  public:
    explicit Impl(LogFileOptions options)
        : options_(std::move(options)),
          batch_bytes_(std::min(batch_bytes, options_.buffer_bytes / 2)),
          file_(options_.path, options_.rotate_bytes, options_.rotate_count) {
        failed(file_.ensure_open());
        writer_ = std::thread([this] { write_batches(); });
    }

    ~Impl() {
        {
            const std::lock_guard lock(mutex_);
            stopping_ = true;
        }
        wake_.notify_all();
        writer_.join();
    }

    void append(std::string_view text, bool with_time) {
        std::unique_lock lock(mutex_);
        room_.wait(lock, [&] { return pending_.text.size() < options_.buffer_bytes; });
        const std::size_t before = pending_.text.size();
        try {
            pending_.begin(with_time);
            pending_.text.append(text);
            pending_.end();
        } catch (const std::bad_alloc&) {
            pending_.text.resize(before);
            ++no_memory_for_;
            return;
        }
        const bool full = before < batch_bytes_ && pending_.text.size() >= batch_bytes_;
        lock.unlock();
        if (before == 0 || full) wake_.notify_one();
    }

    std::string flush() {
        std::unique_lock lock(mutex_);
        const std::uint64_t wanted = batches_begun_ + 1;
        flush_wanted_ = true;
        wake_.notify_one();
        written_.wait(lock, [&] { return batches_done_ >= wanted; });
        const int error = std::exchange(failure_, 0);
        lock.unlock();
        return error == 0 ? std::string() : reason(error);
    }

  private:
    void write_batches() {
        Batch batch;
        std::unique_lock lock(mutex_);
        while (wait_for_batch(lock)) {
            std::swap(batch, pending_);
            lost_ += std::exchange(no_memory_for_, 0);
            flush_wanted_ = false;
            ++batches_begun_;
            lock.unlock();
            room_.notify_all();
            const int error = write(batch);
            batch.clear();
            lock.lock();
            if (error != 0) failure_ = error;
            batches_done_ = batches_begun_;
            written_.notify_all();
        }
    }

    /// False when everything is written and the end is wanted.
    bool wait_for_batch(std::unique_lock<std::mutex>& lock) {
        wake_.wait(lock, [&] { return stopping_ || flush_wanted_ || !pending_.text.empty(); });
        wake_.wait_for(lock, batch_time,
                       [&] { return stopping_ || flush_wanted_ || pending_.text.size() >= batch_bytes_; });
        return flush_wanted_ || !pending_.text.empty();
    }

    /// Writer thread, as all that follows. The error that kept something out of the file, or 0.
    int write(const Batch& batch) {
        std::size_t begin = 0;
        int error = ENOMEM;
        try {
            error = file_.ensure_open();
            if (error == 0 && lost_ > 0) error = close_gap(batch.timed);
            while (error == 0 && begin < batch.text.size()) begin += write_block(batch, begin, error);
        } catch (const std::bad_alloc&) {
            error = ENOMEM;
        }
        lost_ += static_cast<std::size_t>(batch.ends.end() -
                                          std::upper_bound(batch.ends.begin(), batch.ends.end(), begin));
        return failed(error);
    }

    /// The bytes that got into the file.
    std::size_t write_block(const Batch& batch, std::size_t begin, int& error) {
        const auto enough = std::lower_bound(batch.ends.begin(), batch.ends.end(), begin + block_bytes);
        const std::size_t end = enough == batch.ends.end() ? batch.ends.back() : *enough;
        const std::size_t written = file_.write({batch.text.data() + begin, end - begin}, error);
        if (written > 0) torn_ = batch.text[begin + written - 1] != '\n';
        return written;
    }

    /// Ends the line that was broken off and says what is missing after it.
    int close_gap(bool timed) {
        Batch gap;
        if (torn_) gap.text = "\n";
        gap.begin(timed);
        gap.text += std::to_string(lost_) + (lost_ == 1 ? " entry" : " entries") +
                    " lost: " + std::generic_category().message(last_error_);
        gap.end();
        int error = 0;
        write_block(gap, 0, error);
        if (error == 0) lost_ = 0;
        return error;
    }

    std::string reason(int error) const {
        return options_.path + ": " + std::generic_category().message(error);
    }

    /// Reports an error on standard error, once until all is well again.
    int failed(int error) {
        if (error == 0) {
            reported_ = false;
            return 0;
        }
        last_error_ = error;
        if (reported_) return error;
        try {
            std::fprintf(stderr, "log file %s; entries are lost until it can be written\n",
                         reason(error).c_str());
            reported_ = true;
        } catch (const std::bad_alloc&) {  // reported with a later batch
        }
        return error;
    }

    const LogFileOptions options_;
    const std::size_t batch_bytes_;

    // The constructor, then the writer thread only.
    RotatingFile file_;
    std::size_t lost_ = 0;  // entries since the file could be written last
    int last_error_ = 0;
    bool torn_ = false;  // the file ends inside a line
    bool reported_ = false;

    std::mutex mutex_;  // what follows
    std::condition_variable wake_;
    std::condition_variable room_;
    std::condition_variable written_;
    Batch pending_;
    std::size_t no_memory_for_ = 0;  // entries
    std::uint64_t batches_begun_ = 0;
    std::uint64_t batches_done_ = 0;
    int failure_ = 0;  // error of a batch since the last flush
    bool flush_wanted_ = false;
    bool stopping_ = false;

    std::thread writer_;
};

LogFile::LogFile(LogFileOptions options) : impl_(std::make_unique<Impl>(std::move(options))) {}

LogFile::~LogFile() = default;

void LogFile::entry(std::string_view text) {
    impl_->append(text, true);
}

void LogFile::line(std::string_view text) {
    impl_->append(text, false);
}

std::string LogFile::flush() {
    return impl_->flush();
}

}  // namespace hsms
