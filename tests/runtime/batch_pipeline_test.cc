#include "runtime/batch_pipeline.h"

#include <gtest/gtest.h>

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

// Each batch holds numbers; workers square them; consume appends in order.
struct Harness {
  std::vector<std::vector<long>> slots;
  std::string log;
  BatchPipeline* pipe = nullptr;
  bool haltInConsume = false;
  explicit Harness(int n) : slots(static_cast<size_t>(n)) {}
  void process(int s) {
    for (long& v : slots[static_cast<size_t>(s)]) v *= v;
  }
  void consume(int s, bool final) {
    for (long v : slots[static_cast<size_t>(s)]) log += std::to_string(v) + (final ? "f " : " ");
    if (haltInConsume) pipe->haltDrain();  // as from a write error that ends the run
  }
};

TEST(BatchPipeline, ConsumesInFillOrderWithBoundedSlots) {
  for (int workers : {1, 2, 7}) {
    Harness h(workers + 1);
    BatchPipeline pipe(
        workers, workers + 1, [&](int s) { h.process(s); },
        [&](int s, bool f) { h.consume(s, f); });
    std::string want;
    for (long i = 1; i <= 200; ++i) {
      int s = pipe.acquire();
      ASSERT_EQ(pipe.acquire(), s);  // the same slot until submitted
      h.slots[static_cast<size_t>(s)].assign({i, -i});
      pipe.submit();
      want += std::to_string(i * i) + " " + std::to_string(i * i) + " ";
    }
    pipe.drain();
    EXPECT_EQ(h.log, want) << workers;
  }
}

TEST(BatchPipeline, DrainTakesTheSlotBeingFilled) {
  Harness h(3);
  BatchPipeline pipe(
      2, 3, [&](int s) { h.process(s); }, [&](int s, bool f) { h.consume(s, f); });
  h.slots[static_cast<size_t>(pipe.acquire())].assign({2});
  pipe.submit();
  h.slots[static_cast<size_t>(pipe.acquire())].assign({3});
  EXPECT_TRUE(pipe.filling());
  pipe.drain();
  EXPECT_FALSE(pipe.filling());
  EXPECT_EQ(h.log, "4 9 ");
  h.slots[static_cast<size_t>(pipe.acquire())].assign({5});
  pipe.haltDrain();  // on the way out: the rest with final = true
  EXPECT_EQ(h.log, "4 9 25f ");
  pipe.haltDrain();  // once only
  EXPECT_EQ(h.log, "4 9 25f ");
}

TEST(BatchPipeline, HaltFromInsideConsumeStopsWithoutConsumingMore) {
  Harness h(4);
  BatchPipeline pipe(
      3, 4, [&](int s) { h.process(s); }, [&](int s, bool f) { h.consume(s, f); });
  h.pipe = &pipe;
  h.haltInConsume = true;
  for (long i = 1; i <= 3; ++i) {
    h.slots[static_cast<size_t>(pipe.acquire())].assign({i});
    pipe.submit();
  }
  pipe.drain();  // the first consume ends the run: nothing after it is consumed
  EXPECT_EQ(h.log, "1 ");
}

}  // namespace
}  // namespace rt
