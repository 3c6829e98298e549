// `tovra render --watch`: renders again whenever what it reads has changed.
#include <algorithm>
#include <cerrno>
#include <chrono>

#include "change_watch.hpp"
#include "diff/text_diff.hpp"
#include "output.hpp"
#include "output_file.hpp"
#include "request.hpp"

namespace tovra {

namespace {

class text_until_end : public gathered {
public:
  bool take_text(std::string_view piece) override { return !end_is_asked() && gathered::take_text(piece); }
};

// Nullopt after a failure, which has been reported.
std::optional<std::string> render_once(const options &asked) {
  request made(asked);
  if (made.load() != done) return std::nullopt;
  made.drop_tree();
  text_until_end text;
  return made.whole_text(text);
}

bool tell(const std::string &text) {
  if (write_all(STDOUT_FILENO, text)) return true;
  // The reader has closed the pipe: no message.
  if (errno != EPIPE) say("tovra: standard output cannot be written");
  return false;
}

// What a render reads besides the templates; nullopt when something cannot be watched, which has been
// reported.
std::optional<watched_sources> sources_of(const options &asked) {
  std::vector<std::string> sources = asked.classes;
  sources.push_back(asked.data);
  for (const auto &[name, data] : asked.named) sources.push_back(data);
  watched_sources all;
  if (!yang().names.empty()) all.modules = yang().directories;
  for (const std::string &source : sources) {
    const auto found = data_files(source);
    all.files.insert(all.files.end(), found.begin(), found.end());
    if (!found.empty()) continue;
    std::string why = "cannot be watched";
    try {
      if (zu_redis::is_place(source)) {
        all.devices.emplace_back(data_name(source), zu_redis::read_place(source));
        continue;
      }
    } catch (const store::source_failure &failure) {
      why = failure.message;
    }
    say("tovra: --watch: " + data_name(source) + ": " + why);
    return std::nullopt;
  }
  return all;
}

class watched_render {
public:
  explicit watched_render(const options &asked) : asked_(asked) {}

  bool rendered() const { return rendered_; }
  bool whole() const { return rendered_ && written_; } // the last text is complete, in its file too
  // These return false when standard output takes no more text.
  bool render_first() { return render(false); }
  bool render_again(const std::string &happened) {
    say("-- " + happened);
    return render(false);
  }
  // Renders again after a failure. A message that was shown for it is not shown again.
  bool try_again() { return render(true); }

private:
  bool render(bool again) {
    std::optional<std::string> text;
    std::string said;
    {
      const kept_lines kept;
      text = render_once(asked_);
      said = kept.text();
    }
    rendered_ = text.has_value();
    if (again && !text && said == said_) return true;
    if (again) say("-- tried again");
    say_lines(said);
    said_ = std::move(said);
    return !text || take(std::move(*text));
  }
  bool take(std::string text) {
    bool told = true;
    if (!last_ && !asked_.output) {
      told = tell(text);
    } else if (last_ == text) {
      say("-- the text is the same");
    } else if (last_) {
      const auto changes = diff::sections_changed(*last_, text);
      told = tell(diff::by_section(changes, {is_colored(STDOUT_FILENO)}));
    }
    if (asked_.output && (!written_ || last_ != text)) write(text);
    last_ = std::move(text);
    return told;
  }
  void write(const std::string &text) {
    const std::string why = write_file(*asked_.output, text);
    written_ = why.empty();
    if (!written_) say("tovra: --output " + why);
  }

  const options &asked_;
  std::optional<std::string> last_; // the last complete text
  std::string said_;
  bool rendered_ = false;
  bool written_ = true;
};

} // namespace

int render_watched(const options &asked) {
  auto sources = sources_of(asked);
  if (!sources) return wrong_usage;
  if (!start_library()) return failed;
  const auto directories = template_directories(asked.templates);
  if (!directories) return failed;
  sources->templates = *directories;
  const bool of_servers = !sources->devices.empty();
  change_watch watch(std::move(*sources));
  watched_render made(asked);
  bool told = watch.good() && made.render_first();
  // A render may fail because a server is down for a while: it is tried again after a pause, which grows.
  constexpr std::chrono::seconds first_pause(1), longest_pause(60);
  std::chrono::seconds pause = first_pause;
  while (told && !end_is_asked()) {
    const bool again = of_servers && !made.rendered();
    const auto happened = watch.next(again ? std::optional(pause) : std::nullopt);
    if (!happened) break;
    const bool changed = !happened->empty();
    pause = changed ? first_pause : std::min(2 * pause, longest_pause);
    told = changed ? made.render_again(*happened) : made.try_again();
  }
  return told && end_is_asked() && made.whole() ? done : failed;
}

} // namespace tovra
