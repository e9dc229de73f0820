#include "runtime/batch_pipeline.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "runtime/thread_count.h"

namespace rt {
namespace {

TEST(ThreadCount, SettingsAreParsedAndClamped) {
  struct Case {
    const char* text;
    int want;
  } cases[] = {
      {nullptr, 5},
      {"", 5},
      {"1", 1},
      {"3", 3},
      {"64", 64},
      {"65", 64},
      {"0", 1},
      {"-4", 1},
      {"+2", 2},
      {"007", 7},
      {"99999999999999", 64},
      {"2x", 5},
      {" 2", 5},
      {"2 ", 5},
      {"-", 5},
      {"+", 5},
      {"abc", 5},
      {"1e3", 5},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(parseCountSetting(c.text, 5, 1, kMaxThreads), c.want) << (c.text ? c.text : "null");
  }
}

// Each batch holds numbers; workers square them; write appends them to the
// output in order; consume notes the batch in the log.
struct Harness {
  std::vector<std::vector<long>> slots;
  std::string output, log;
  BatchPipeline* pipe = nullptr;
  bool haltInConsume = false;
  explicit Harness(int n) : slots(static_cast<size_t>(n)) {}
  void process(int s) {
    for (long& v : slots[static_cast<size_t>(s)]) v *= v;
  }
  void write(int s) {
    for (long v : slots[static_cast<size_t>(s)]) output += std::to_string(v) + " ";
  }
  void consume(int s, bool final) {
    log += std::to_string(slots[static_cast<size_t>(s)].front()) + (final ? "f " : " ");
    if (haltInConsume) pipe->haltDrain();  // as from a write error that ends the run
  }
};

std::unique_ptr<BatchPipeline> makePipe(Harness& h, int workers) {
  return std::make_unique<BatchPipeline>(
      workers, static_cast<int>(h.slots.size()), [&h](int s) { h.process(s); },
      [&h](int s) { h.write(s); }, [&h](int s, bool f) { h.consume(s, f); });
}

TEST(BatchPipeline, WritesAndConsumesInFillOrderWithBoundedSlots) {
  for (int workers : {0, 1, 2, 7}) {  // 0: no thread could be started
    Harness h(workers + 2);
    auto pipe = makePipe(h, workers);
    std::string want, wantLog;
    for (long i = 1; i <= 300; ++i) {
      int s = pipe->acquire();
      ASSERT_EQ(pipe->acquire(), s);  // the same slot until submitted
      h.slots[static_cast<size_t>(s)].assign({i, -i});
      pipe->submit();
      want += std::to_string(i * i) + " " + std::to_string(i * i) + " ";
      wantLog += std::to_string(i * i) + " ";
    }
    pipe->drain();
    EXPECT_EQ(h.output, want) << workers;
    EXPECT_EQ(h.log, wantLog) << workers;
  }
}

TEST(BatchPipeline, DrainTakesTheSlotBeingFilled) {
  Harness h(3);
  auto pipe = makePipe(h, 2);
  h.slots[static_cast<size_t>(pipe->acquire())].assign({2});
  pipe->submit();
  h.slots[static_cast<size_t>(pipe->acquire())].assign({3});
  EXPECT_TRUE(pipe->filling());
  pipe->drain();
  EXPECT_FALSE(pipe->filling());
  EXPECT_EQ(h.output, "4 9 ");
  EXPECT_EQ(h.log, "4 9 ");
  h.slots[static_cast<size_t>(pipe->acquire())].assign({5});
  pipe->haltDrain();  // on the way out: the rest with final = true
  EXPECT_EQ(h.output, "4 9 25 ");
  EXPECT_EQ(h.log, "4 9 25f ");
  pipe->haltDrain();  // once only
  EXPECT_EQ(h.log, "4 9 25f ");
}

TEST(BatchPipeline, HaltFromInsideConsumeStopsWithoutConsumingMore) {
  Harness h(4);
  auto pipe = makePipe(h, 3);
  h.pipe = pipe.get();
  h.haltInConsume = true;
  for (long i = 1; i <= 3; ++i) {
    h.slots[static_cast<size_t>(pipe->acquire())].assign({i});
    pipe->submit();
  }
  pipe->drain();  // the first consume ends the run: nothing after it is consumed
  EXPECT_EQ(h.log, "1 ");
  EXPECT_EQ(h.output.substr(0, 2), "1 ");  // written in order, as far as it got
}

}  // namespace
}  // namespace rt
