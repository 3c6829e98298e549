// `tovra render`: the configuration, or the part under one node, as CLI text.
#include <cstdio>
#include <optional>
#include <sys/resource.h>

#include "output.hpp"
#include "output_file.hpp"
#include "progress.hpp"
#include "request.hpp"

namespace tovra {

namespace {

// Writes text as it comes, and errors to standard error after the text before them.
class written : public receiver {
public:
  explicit written(output &to) : text_(to) {}
  bool take_text(std::string_view piece) override { return text_.write(piece); }
  void take_error(const zu_tovra::error &error) override {
    text_.flush();
    say_error(error);
  }

private:
  output &text_;
};

void say_stats(const output &text, zu_store_wrapper *wrapper, const request::timings &took) {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  char line[400];
  std::snprintf(line, sizeof line,
                "stats: lines=%llu bytes=%llu cursors=%llu records=%llu rows=%llu data_seconds=%.6f "
                "template_seconds=%.6f render_seconds=%.6f peak_kib=%ld",
                static_cast<unsigned long long>(text.lines()), static_cast<unsigned long long>(text.bytes()),
                static_cast<unsigned long long>(zu_store_wrapper_calls(wrapper, ZU_CALL_OPEN_CURSOR)),
                static_cast<unsigned long long>(zu_store_wrapper_calls(wrapper, ZU_CALL_GET)),
                static_cast<unsigned long long>(zu_store_wrapper_rows(wrapper)), took.data, took.templates,
                took.render, usage.ru_maxrss);
  say(line);
}

} // namespace

int render(const options &asked) {
  output_file file; // opened first, so that nothing is read for a file that cannot be written
  const auto refuse = [&file] {
    say("tovra: --output " + file.why());
    return failed;
  };
  if (asked.output && !file.open(*asked.output)) return refuse();
  request made(asked);
  if (const int status = made.load(); status != done) return status;
  made.drop_tree();
  output text = asked.output ? output(file.number(), *asked.output) : output();
  const int status = made.attempt(&text, [&] {
    written to(text);
    bool whole = false;
    {
      std::optional<progress> shown;
      if (!text.terminal()) shown.emplace("rendering");
      whole = made.render(to);
    }
    whole = text.finish() && whole;
    if (made.wrapper() != nullptr) say_stats(text, made.wrapper(), made.took());
    return whole ? done : failed;
  });
  if (status != done) return status;
  return !asked.output || file.put_in_place() ? done : refuse();
}

} // namespace tovra
