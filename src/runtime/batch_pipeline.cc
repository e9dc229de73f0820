#include "runtime/batch_pipeline.h"

#include <system_error>
#include <utility>

namespace rt {

BatchPipeline::BatchPipeline(int workers, int slots, std::function<void(int)> process,
                             std::function<void(int)> write, std::function<void(int, bool)> consume)
    : process_(std::move(process)), write_(std::move(write)), consume_(std::move(consume)) {
  state_.assign(static_cast<size_t>(slots < 1 ? 1 : slots), kQueued);
  threads_.reserve(static_cast<size_t>(workers));
  for (int i = 0; i < workers; ++i) {
    try {
      threads_.emplace_back([this] { workerLoop(); });
    } catch (const std::system_error&) {
      break;  // the system refuses more threads: those started (or none) do the work
    }
  }
}

BatchPipeline::~BatchPipeline() { stop(); }

void BatchPipeline::workerLoop() {
  std::unique_lock<std::mutex> lock(mu_);
  for (;;) {
    work_.wait(lock, [this] { return stop_ || taken_ < submitted_; });
    if (stop_) return;
    processNext(lock);
  }
}

// Takes the next submitted batch, processes it without the lock, and then,
// when it completes the next batch in order, writes that one and the ones
// after it that are processed already. Called with the lock held.
void BatchPipeline::processNext(std::unique_lock<std::mutex>& lock) {
  const int64_t n = slots();
  int slot = static_cast<int>(taken_++ % n);
  lock.unlock();
  process_(slot);
  lock.lock();
  state_[static_cast<size_t>(slot)] = kProcessed;
  while (!writing_ && !stop_ && written_ < taken_ &&
         state_[static_cast<size_t>(written_ % n)] == kProcessed) {
    const int w = static_cast<int>(written_ % n);
    writing_ = true;
    lock.unlock();
    if (write_) write_(w);
    lock.lock();
    writing_ = false;
    state_[static_cast<size_t>(w)] = kWritten;
    ++written_;
    done_cv_.notify_all();
  }
}

// Waits for the oldest submitted batch to be written and consumes it; the
// lock is not held while consume runs (it may end the run).
void BatchPipeline::consumeOldest(bool final) {
  const int slot = static_cast<int>(consumed_ % slots());
  {
    // rather than wait, the filling thread builds a batch nobody has taken
    std::unique_lock<std::mutex> lock(mu_);
    while (state_[static_cast<size_t>(slot)] != kWritten) {
      if (!stop_ && taken_ < submitted_) {
        processNext(lock);
      } else {
        done_cv_.wait(lock);
      }
    }
  }
  consuming_ = true;
  consume_(slot, final);
  consuming_ = false;
  std::lock_guard<std::mutex> lock(mu_);
  state_[static_cast<size_t>(slot)] = kQueued;
  ++consumed_;
}

int BatchPipeline::acquire() {
  const int64_t n = slots();
  if (!filling_) {
    while (!stopped_ && consumed_ < submitted_) {
      bool ready;
      {
        std::lock_guard<std::mutex> lock(mu_);
        ready = state_[static_cast<size_t>(consumed_ % n)] == kWritten;
      }
      if (!ready && submitted_ - consumed_ < n) break;  // a slot is free: no waiting
      consumeOldest(false);
    }
    filling_ = true;
  }
  return static_cast<int>(submitted_ % n);
}

void BatchPipeline::submit() {
  if (!filling_) return;
  filling_ = false;
  {
    std::lock_guard<std::mutex> lock(mu_);
    ++submitted_;
  }
  work_.notify_one();
}

void BatchPipeline::drain() {
  submit();
  while (!stopped_ && consumed_ < submitted_) consumeOldest(false);
}

void BatchPipeline::haltDrain() {
  if (stopped_) return;
  if (!consuming_) {
    submit();
    while (consumed_ < submitted_) consumeOldest(true);
  }
  stop();
}

void BatchPipeline::stop() {
  if (stopped_) return;
  stopped_ = true;
  {
    std::lock_guard<std::mutex> lock(mu_);
    stop_ = true;
  }
  work_.notify_all();
  for (std::thread& t : threads_) t.join();
}

}  // namespace rt
