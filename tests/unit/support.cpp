// What unit tests share: the traces of a stretch of code, and the area counters around it.
#include "support.h"

#include <gtest/gtest.h>

#include <optional>

#include "qmalloc/qmalloc.h"
#include "qtrace/qtrace.h"

namespace test {

namespace {
constexpr uint32_t areas[2] = {0x2800000u, ZU_DO_AREA};
}

trace_log::trace_log(int level) {
  qtrace_set_sink(take, this);
  qtrace_set_level(level);
}

trace_log::~trace_log() {
  qtrace_set_level(0);
  qtrace_set_sink(nullptr, nullptr);
}

void trace_log::take(void *self, int level, const char *message) {
  static_cast<trace_log *>(self)->lines_.push_back(std::to_string(level) + " " + message);
}

bool trace_log::has(std::string_view message) const {
  for (const auto &line : lines_) {
    if (std::string_view(line).substr(2) == message) return true;
  }
  return false;
}

int trace_log::count(std::string_view part) const {
  int found = 0;
  for (const auto &line : lines_) found += line.find(part) != std::string::npos ? 1 : 0;
  return found;
}

std::string trace_log::text() const {
  std::string all;
  for (const auto &line : lines_) all += line + "\n";
  return all;
}

balanced_memory::balanced_memory() {
  for (int i = 0; i < 2; ++i) {
    const auto counters = qmalloc_count(areas[i]);
    blocks_[i] = counters.live_blocks;
    bytes_[i] = counters.live_bytes;
  }
}

balanced_memory::~balanced_memory() {
  for (int i = 0; i < 2; ++i) {
    const auto counters = qmalloc_count(areas[i]);
    EXPECT_EQ(counters.live_blocks, blocks_[i]) << "blocks of area " << areas[i];
    EXPECT_EQ(counters.live_bytes, bytes_[i]) << "bytes of area " << areas[i];
  }
}

namespace {

// What a test takes it gives back.
class memory_check : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo &) override { balanced_.emplace(); }
  void OnTestEnd(const testing::TestInfo &) override { balanced_.reset(); }
  std::optional<balanced_memory> balanced_;
};
[[maybe_unused]] const bool checked =
    (testing::UnitTest::GetInstance()->listeners().Append(new memory_check), true);

} // namespace

} // namespace test
