// BatchPipeline: batches filled on one thread, processed on worker threads,
// written in fill order by one worker at a time, and consumed on the filling
// thread in fill order.
//
// The caller owns `slots` batch buffers, numbered 0..slots-1, and gives three
// functions:
//   process(slot)        runs on a worker thread (or on the filling thread
//                        while it would otherwise wait for a batch), several
//                        at once on different slots;
//   write(slot)          runs where the batch was processed, for one batch
//                        at a time and in fill order (the output file is only
//                        touched here while workers run); may be empty;
//   consume(slot, final) runs on the filling thread, in fill order, once the
//                        batch is written (e.g. to report what went wrong);
//                        `final` is true when the run is ending (haltDrain)
//                        and the function must then not end the run itself.
// process and write must not end the run (no rt::halt, no console output) and
// touch only their slot and state that stays read-only meanwhile (write: the
// output and its own running state too).
//
// The filling thread calls acquire() for a slot to fill, fills it and calls
// submit(). acquire() first consumes every batch that is already written, and
// waits for the oldest one only when every slot is in use, so memory is
// bounded by the slots. drain() processes, writes and consumes everything
// submitted (and a slot being filled, as it stands). Nothing is allocated
// after the constructor. When the system refuses to start a thread, the
// pipeline works with those it has, or with none: the filling thread then
// processes and writes every batch itself when it needs the slot again.
//
// haltDrain() is for the way out of the process: it stops the pipeline safely
// on any path, from any point of the filling thread (inside consume() too):
// unless it is called from within consume(), the slot being filled is
// submitted as it stands and every batch is processed, written and consumed
// with final = true; the workers are stopped and joined in every case (a write
// under way ends first, no other starts), so none runs on while the process
// ends and the filling thread has the output to itself again. After it,
// drain() and acquire() consume nothing.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace rt {

class BatchPipeline {
 public:
  BatchPipeline(int workers, int slots, std::function<void(int)> process,
                std::function<void(int)> write, std::function<void(int, bool)> consume);
  ~BatchPipeline();  // stops and joins the workers; batches not consumed are dropped
  BatchPipeline(const BatchPipeline&) = delete;
  BatchPipeline& operator=(const BatchPipeline&) = delete;

  int slots() const { return static_cast<int>(state_.size()); }
  int acquire();  // a slot to fill; the same slot until it is submitted
  void submit();  // hands the acquired slot to the workers
  bool filling() const { return filling_; }
  void drain();
  void haltDrain();
  void stop();  // joins the workers (after drain(), or dropping the rest)

 private:
  enum : char { kQueued = 0, kProcessed = 1, kWritten = 2 };
  void workerLoop();
  void processNext(std::unique_lock<std::mutex>& lock);
  void consumeOldest(bool final);

  std::function<void(int)> process_;
  std::function<void(int)> write_;
  std::function<void(int, bool)> consume_;
  std::mutex mu_;
  std::condition_variable work_;     // workers: a batch was submitted, or stop
  std::condition_variable done_cv_;  // filling thread: a batch was written
  std::vector<char> state_;          // per slot, guarded by mu_
  std::vector<std::thread> threads_;
  int64_t submitted_ = 0;  // batches submitted so far
  int64_t taken_ = 0;      // of those, taken by a worker
  int64_t written_ = 0;    // of those, written
  int64_t consumed_ = 0;   // of those, consumed
  bool writing_ = false;   // a worker is writing
  bool stop_ = false;
  bool filling_ = false;    // a slot was acquired and not yet submitted
  bool consuming_ = false;  // consume() is running
  bool stopped_ = false;
};

}  // namespace rt
