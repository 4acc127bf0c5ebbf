#include "hsms/log/log_file.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <optional>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <thread>
#include <utility>
#include <vector>

#include "hsms/log/time_text.h"

namespace hsms {
namespace {

using Sink = spdlog::sinks::rotating_file_sink_st;
using Clock = std::chrono::steady_clock;

// The writer is woken when a batch is this large, and this long after the first entry of a batch at the
// latest.
constexpr std::size_t batch_bytes = std::size_t{256} << 10U;
constexpr std::chrono::milliseconds batch_time{50};
// A batch is handed to the file in blocks of about this size, cut between entries, so that rotation can
// happen between them.
constexpr std::size_t block_bytes = std::size_t{64} << 10U;
constexpr std::chrono::seconds reopen_pause{1};

struct Batch {
    std::string text;
    std::vector<std::size_t> cuts;  // where a block may end

    void clear() {
        text.clear();
        cuts.clear();
    }
};

}  // namespace

class LogFile::Impl {
  public:
    explicit Impl(LogFileOptions options)
        : options_(std::move(options)), batch_bytes_(std::min(batch_bytes, options_.buffer_bytes / 2)) {
        try {
            open();
        } catch (const std::exception& error) {
            report_once(error.what());
        }
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
        const bool first = pending_.text.empty();
        if (const std::size_t last_cut = pending_.cuts.empty() ? 0 : pending_.cuts.back();
            pending_.text.size() - last_cut >= block_bytes)
            pending_.cuts.push_back(pending_.text.size());
        if (with_time) {
            append_time(pending_.text);
            pending_.text.push_back('\n');
        }
        const std::size_t before = pending_.text.size();
        pending_.text.append(text).push_back('\n');
        const bool full = before < batch_bytes_ && pending_.text.size() >= batch_bytes_;
        lock.unlock();
        if (first || full) wake_.notify_one();
    }

    void flush() {
        std::unique_lock lock(mutex_);
        const std::uint64_t wanted = batches_begun_ + (pending_.text.empty() ? 0 : 1);
        flush_wanted_ = true;
        wake_.notify_one();
        written_.wait(lock, [&] { return batches_done_ >= wanted; });
    }

    std::uint64_t lost_bytes() const {
        const std::lock_guard lock(mutex_);
        return lost_bytes_;
    }

  private:
    void write_batches() {
        Batch batch;
        std::unique_lock lock(mutex_);
        while (wait_for_batch(lock)) {
            std::swap(batch, pending_);
            flush_wanted_ = false;
            ++batches_begun_;
            lock.unlock();
            room_.notify_all();
            const std::size_t lost = write(batch);
            batch.clear();
            lock.lock();
            lost_bytes_ += lost;
            batches_done_ = batches_begun_;
            written_.notify_all();
        }
    }

    /// False when everything is written and the end is wanted.
    bool wait_for_batch(std::unique_lock<std::mutex>& lock) {
        wake_.wait(lock, [&] { return stopping_ || !pending_.text.empty(); });
        wake_.wait_for(lock, batch_time,
                       [&] { return stopping_ || flush_wanted_ || pending_.text.size() >= batch_bytes; });
        return !pending_.text.empty();
    }

    /// Writer thread. Returns the number of bytes that did not get into the file.
    std::size_t write(const Batch& batch) {
        std::size_t begin = 0;
        std::size_t lost = 0;
        const auto write_to = [&](std::size_t end) {
            if (!write_block({batch.text.data() + begin, end - begin})) lost += end - begin;
            begin = end;
        };
        for (const std::size_t cut : batch.cuts) write_to(cut);
        write_to(batch.text.size());
        return lost;
    }

    void open() {
        sink_.emplace(options_.path, options_.rotate_bytes, options_.rotate_count);
        sink_->set_formatter(std::make_unique<spdlog::pattern_formatter>(
            "%v", spdlog::pattern_time_type::local, std::string()));
    }

    bool write_block(std::string_view block) {
        if (!sink_ && Clock::now() < reopen_at_) return false;
        try {
            if (!sink_) open();
            sink_->log({{}, spdlog::level::info, {block.data(), block.size()}});
            sink_->flush();
            return true;
        } catch (const std::exception& error) {
            report_once(error.what());
            sink_.reset();
            reopen_at_ = Clock::now() + reopen_pause;
            return false;
        }
    }

    void report_once(const char* what) {
        if (std::exchange(reported_, true)) return;
        std::fprintf(stderr, "log file %s: %s; entries are lost until it can be written\n",
                     options_.path.c_str(), what);
    }

    const LogFileOptions options_;
    const std::size_t batch_bytes_;

    // The constructor, then the writer thread only.
    std::optional<Sink> sink_;
    Clock::time_point reopen_at_{};
    bool reported_ = false;

    mutable std::mutex mutex_;  // what follows
    std::condition_variable wake_;
    std::condition_variable room_;
    std::condition_variable written_;
    Batch pending_;
    std::uint64_t batches_begun_ = 0;
    std::uint64_t batches_done_ = 0;
    std::uint64_t lost_bytes_ = 0;
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

void LogFile::flush() {
    impl_->flush();
}

std::uint64_t LogFile::lost_bytes() const {
    return impl_->lost_bytes();
}

}  // namespace hsms
