// What the fuzz targets share: checks that end the process, choices made from bytes, traces and memory.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "qmalloc/qmalloc.h"
#include "qtrace/qtrace.h"
#include "zu_tovra/zu_tovra.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace fuzz {

template <auto Release>
struct releases {
  template <class T>
  void operator()(T *thing) const {
    Release(thing);
  }
};
template <class T, auto Release>
using own = std::unique_ptr<T, releases<Release>>;
using own_uri = own<zu_do_uri, zu_do_uri_deref>;
using own_value = own<zu_do_value, zu_do_value_deref>;
using own_buffer = own<zu_do_strbuf, zu_do_strbuf_deref>;
using own_record = own<zu_do_properties, zu_do_properties_deref>;
using own_error = own<zu_do_error, zu_do_error_deref>;
using own_template = own<zu_tvr_uri, zu_tvr_uri_delete>;

// Ends the process, for the fuzzer to keep the input, unless the two are the same.
inline void same(const char *what, const std::string &a, const std::string &b) {
  if (a == b) return;
  std::fprintf(stderr, "differs: %s\n---- one\n%s\n---- other\n%s\n", what, a.c_str(), b.c_str());
  std::abort();
}
inline void check(bool holds, const char *what, const std::string &about = {}) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n%s\n", what, about.c_str());
  std::abort();
}

inline std::string or_none(const char *text) {
  return text != nullptr ? text : "(none)";
}

// What an input took of the two areas it gave back.
class balanced_memory {
public:
  ~balanced_memory() {
    for (int i = 0; i < 2; ++i) {
      const int64_t kept = qmalloc_count(areas[i]).live_blocks - before_[i];
      check(kept == 0, "all memory is given back",
            std::to_string(kept) + " blocks of area " + std::to_string(i));
    }
  }

private:
  static constexpr uint32_t areas[2] = {ZU_TVR_AREA, ZU_DO_AREA};
  const int64_t before_[2] = {qmalloc_count(areas[0]).live_blocks, qmalloc_count(areas[1]).live_blocks};
};

// Traces up to a level while it lives; keeps errors and warnings, and adds all to a log, if there is one.
class traces {
public:
  explicit traces(int level, std::string *log = nullptr) : log_(log) {
    qtrace_set_sink(take, this);
    qtrace_set_level(level);
  }
  ~traces() { qtrace_set_level(0); }
  traces(const traces &) = delete;
  traces &operator=(const traces &) = delete;

  std::string text;

private:
  static void take(void *self, int level, const char *message) {
    auto *one = static_cast<traces *>(self);
    if (level <= 4) one->text.append(message).append("\n");
    if (one->log_ != nullptr) one->log_->append(message).append("\n");
  }

  std::string *const log_;
};

// The bytes of an input as a row of choices; 0 when they are used up.
class choices {
public:
  choices(const uint8_t *data, size_t size) : at_(data), end_(data + size) {}

  bool left() const { return at_ != end_; }
  uint32_t below(size_t count) { return at_ == end_ ? 0 : *at_++ % static_cast<uint32_t>(count); }
  bool often() { return below(8) != 1; } // also when the bytes are used up
  bool rarely() { return below(8) == 1; }
  template <size_t Count>
  const char *of(const char *const (&texts)[Count]) {
    return texts[below(Count)];
  }

private:
  const uint8_t *at_;
  const uint8_t *const end_;
};

} // namespace fuzz
